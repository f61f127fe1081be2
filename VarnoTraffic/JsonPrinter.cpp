#include <VarnoTraffic/Explanation.h>
#include <VarnoTraffic/JsonLines.h>
#include <VarnoTraffic/Private/DecodedFrame.h>
#include <VarnoTraffic/Private/JsonFieldPrinter.h>
#include <VarnoTraffic/Private/SecretTail.h>

#include <utility>

namespace varno {

struct JsonPrinter::State {
  State(Secrets secrets, PacketDirectory types)
      : showsSecrets(secrets == Secrets::kShown), directory(std::move(types)) {}

  void appendBytes(std::string& text, const TrafficRecord& record);

  bool showsSecrets;
  PacketDirectory directory;
  SecretTail secretTail;
  std::vector<std::uint8_t> memory;
};

void JsonPrinter::State::appendBytes(std::string& text, const TrafficRecord& record) {
  const bool isFrame = record.kind == RecordKind::kFrame;
  DecodedFrame decoded;
  if (isFrame) {
    secretTail.endAt(record);
    decoded = decodeFrame(record.bytes, directory, memory);
  }
  if (decoded.entry != nullptr) {
    text += ",\"type\":";
    appendJsonText(text, decoded.entry->type.name());
  }
  if (decoded.packet != nullptr) {
    text += ",\"fields\":{";
    JsonFieldPrinter printer(text, {.showsSecrets = showsSecrets,
                                    .showsUnsent = !decoded.isExact,
                                    .hidesBehindSecret = !decoded.isExact});
    decoded.packet->visitFields(printer);
    text += '}';
  }
  std::vector<bool> hidden;
  std::vector<std::string> problems;
  const bool hasProblems = isFrame && !decoded.isExact;
  const bool mayHide =
      isFrame && !showsSecrets && (decoded.entry == nullptr || decoded.entry->mayHaveSecrets);
  if (hasProblems || mayHide) {
    const Explanation explanation = explainFrame(record.bytes, directory);
    if (mayHide) hidden = explanation.secretBytes();
    if (hasProblems)
      problems = explanation.sentences(showsSecrets ? Secrets::kShown : Secrets::kHidden);
  }
  if (!isFrame && !showsSecrets) hidden = secretTail.hiddenBytes(record, directory);
  if (isFrame || (!record.bytes.empty() && mayHaveBytes(record.kind))) {
    text += isFrame ? ",\"frame\":\"" : ",\"bytes\":\"";
    appendHex(text, record.bytes, "", hidden);
    text += '"';
  }
  if (problems.empty()) return;
  text += ",\"problems\":";
  char separator = '[';
  for (const std::string& problem : problems) {
    text += std::exchange(separator, ',');
    appendJsonText(text, problem);
  }
  text += ']';
}

JsonPrinter::JsonPrinter(Secrets secrets, PacketDirectory directory)
    : state_(std::make_unique<State>(secrets, std::move(directory))) {}
JsonPrinter::JsonPrinter(JsonPrinter&&) noexcept = default;
JsonPrinter& JsonPrinter::operator=(JsonPrinter&&) noexcept = default;
JsonPrinter::~JsonPrinter() = default;

void JsonPrinter::append(std::string& text, const TrafficRecord& record) {
  text += '{';
  if (record.time) {
    text += "\"time\":\"";
    appendTime(text, *record.time);
    text += "\",";
  }
  if (record.direction) {
    text.append("\"direction\":\"").append(directionText(*record.direction)).append("\",");
  }
  text.append("\"kind\":\"").append(recordKindText(record.kind)).append("\"");
  state_->appendBytes(text, record);
  if (!record.note.empty()) {
    text += ",\"note\":";
    appendJsonText(text, record.note);
  }
  text += '}';
}

}  // namespace varno
