#include <VarnoTraffic/Explanation.h>
#include <VarnoTraffic/Notation.h>
#include <VarnoTraffic/Private/DecodedFrame.h>
#include <VarnoTraffic/Private/FieldPrinter.h>
#include <VarnoTraffic/Private/SecretTail.h>

#include <utility>

namespace varno {

struct NotationPrinter::State {
  State(Secrets secrets, PacketDirectory types)
      : showsSecrets(secrets == Secrets::kShown), directory(std::move(types)) {}

  void appendFrame(std::string& text, const TrafficRecord& record);
  void appendBytes(std::string& text, const TrafficRecord& record, std::string_view word);
  void appendPacket(std::string& text, const HudPacket& packet, FieldPrinting printing) const {
    text += packet.typeName();
    FieldPrinter printer(text, printing);
    packet.visitFields(printer);
  }

  bool showsSecrets;
  PacketDirectory directory;
  SecretTail secretTail;
  std::vector<std::uint8_t> memory;
  std::string remark;
};

void NotationPrinter::State::appendFrame(std::string& text, const TrafficRecord& record) {
  secretTail.endAt(record);
  const DecodedFrame decoded = decodeFrame(record.bytes, directory, memory);
  if (decoded.isExact && decoded.entry->hasPlainName) {
    return appendPacket(text, *decoded.packet,
                        {.showsSecrets = showsSecrets, .showsUnsent = false});
  }
  const Explanation explanation = explainFrame(record.bytes, directory);
  text += "raw";
  if (!record.bytes.empty()) {
    text += ' ';
    appendHex(text, record.bytes, " ",
              showsSecrets ? std::vector<bool>() : explanation.secretBytes());
  }
  if (decoded.packet != nullptr) {
    appendPacket(remark, *decoded.packet,
                 {.showsSecrets = showsSecrets, .hidesBehindSecret = true});
  } else {
    remark += verdictText(explanation.verdict);
  }
  const char* separator = decoded.packet != nullptr ? "; " : ": ";
  for (const std::string& sentence :
       explanation.sentences(showsSecrets ? Secrets::kShown : Secrets::kHidden)) {
    remark += std::exchange(separator, "; ") + sentence;
  }
}

void NotationPrinter::State::appendBytes(std::string& text, const TrafficRecord& record,
                                         std::string_view word) {
  text += word;
  if (record.bytes.empty() || !mayHaveBytes(record.kind)) return;
  text += ' ';
  appendHex(text, record.bytes, " ",
            showsSecrets ? std::vector<bool>() : secretTail.hiddenBytes(record, directory));
}

NotationPrinter::NotationPrinter(Secrets secrets, PacketDirectory directory)
    : state_(std::make_unique<State>(secrets, std::move(directory))) {}
NotationPrinter::NotationPrinter(NotationPrinter&&) noexcept = default;
NotationPrinter& NotationPrinter::operator=(NotationPrinter&&) noexcept = default;
NotationPrinter::~NotationPrinter() = default;

void NotationPrinter::append(std::string& text, const TrafficRecord& record) {
  if (record.time) {
    text += '(';
    appendTime(text, *record.time);
    text += ") ";
  }
  if (record.direction) text.append(directionText(*record.direction)).append(" ");
  std::string& remark = state_->remark;
  remark.clear();
  if (record.kind == RecordKind::kFrame) {
    state_->appendFrame(text, record);
  } else {
    state_->appendBytes(text, record, recordKindText(record.kind));
  }
  if (!record.note.empty()) {
    text += " # ";
    appendNote(text, record.note);
  }
  if (!remark.empty()) {
    text += " #: ";
    appendNote(text, remark);
  }
}

void NotationPrinter::append(std::string& text, const HudPacket& packet) {
  state_->appendPacket(text, packet, {.showsSecrets = state_->showsSecrets});
}

std::string notationOf(const HudPacket& packet, Secrets secrets) {
  std::string text(packet.typeName());
  FieldPrinter printer(text, {.showsSecrets = secrets == Secrets::kShown});
  packet.visitFields(printer);
  return text;
}

std::string notationOf(const TrafficRecord& record, Secrets secrets) {
  std::string text;
  NotationPrinter(secrets).append(text, record);
  return text;
}

}  // namespace varno
