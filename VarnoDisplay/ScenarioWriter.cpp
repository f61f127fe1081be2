#include <VarnoDisplay/ScenarioWriter.h>

#include <VarnoLink/Duration.h>
#include <VarnoLink/Relay.h>
#include <VarnoNetwork/Network/Command/KeepAliveCommandPacket.h>
#include <VarnoNetwork/Network/FieldVisitor.h>
#include <VarnoNetwork/Network/HudLog.h>
#include <VarnoTraffic/Explanation.h>
#include <VarnoTraffic/FrameContent.h>

#include <algorithm>
#include <array>
#include <concepts>
#include <cstdlib>
#include <map>
#include <ostream>
#include <utility>
#include <vector>

namespace varno {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;

constexpr seconds kTimeout{5};
constexpr milliseconds kShortestPause{50};

// To two digits.
nanoseconds rounded(nanoseconds pause) {
  std::int64_t unit = 1;
  while (pause.count() / unit >= 100) unit *= 10;
  return nanoseconds((pause.count() + unit / 2) / unit * unit);
}

// At least twice as long.
nanoseconds generous(nanoseconds pause) {
  constexpr std::array<seconds, 6> kSteps = {seconds(10), seconds(20),  seconds(30),
                                             seconds(60), seconds(120), seconds(300)};
  for (const seconds step : kSteps) {
    if (2 * pause <= step) return step;
  }
  return seconds(2 * std::chrono::ceil<seconds>(pause).count());
}

// The texts "name=value" of a packet in the one-line notation, and its type in front.
std::vector<std::string> partsOf(const std::string& text) {
  std::vector<std::string> parts(1);
  bool isQuoted = false;
  int depth = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char character = text[at];
    if (isQuoted && character == '\\') {
      parts.back() += text[at++];
    } else if (character == '"') {
      isQuoted = !isQuoted;
    } else if (!isQuoted && (character == '[' || character == '{')) {
      ++depth;
    } else if (!isQuoted && (character == ']' || character == '}')) {
      --depth;
    } else if (!isQuoted && depth == 0 && character == ' ') {
      parts.emplace_back();
      continue;
    }
    if (at < text.size()) parts.back() += text[at];
  }
  return parts;
}

// What is said of fields in another way than by their value: by the path what stands behind it;
// nothing for a field that is left out.
using Replacements = std::map<std::string, std::string, std::less<>>;

class FieldChooser : public UniformFieldVisitor<FieldChooser, FieldVisitor> {
 public:
  FieldChooser(std::optional<std::int64_t> time, bool isSent) : time_(time), isSent_(isSent) {}

  template <class Value>
  void onField(const FieldInfo& field, const Value& value) {
    bool isEmpty = false;
    if constexpr (std::same_as<Value, HudString>) isEmpty = value.value_or("").empty();
    if constexpr (std::same_as<Value, StringSet>) isEmpty = value.empty();
    if (!field.isOnWire) {
      replacements[field.path()] = "";
    } else if (field.isSecret && isSent_) {
      replacements[field.path()] = "";
      leavesOut |= !isEmpty;
    } else if (field.isSecret) {
      replacements[field.path()] = isEmpty ? "=\"\"" : "=*";
    }
    if constexpr (std::same_as<Value, std::int64_t>) {
      if (!isSent_ && isTimeOfDay(value)) replacements[field.path()] = ">0";
    }
  }
  void beginList(const FieldInfo& field, const std::size_t& /*size*/) override {
    if (!field.isOnWire || (field.isSecret && isSent_)) replacements[field.path()] = "";
    leavesOut |= field.isSecret && isSent_;
    if (field.isSecret && !isSent_) replacements[field.path()] = "=*";
  }

  Replacements replacements;
  bool leavesOut = false;

 private:
  // Whether the number is the record's time, more or less: in milliseconds, or in seconds.
  bool isTimeOfDay(std::int64_t value) const {
    constexpr std::int64_t kDay = std::int64_t{24} * 60 * 60;
    constexpr std::int64_t kSecond = 1'000'000'000;
    if (!time_) return false;
    const std::int64_t now = *time_ / kSecond;
    return std::abs(value / 1000 - now) < kDay || (value > 0 && std::abs(value - now) < kDay);
  }

  std::optional<std::int64_t> time_;
  bool isSent_;
};

std::string textOf(const HudPacket& packet, const FieldChooser& chooser) {
  std::vector<std::string> parts = partsOf(notationOf(packet));
  std::string text = parts.front();
  for (auto part = parts.begin() + 1; part != parts.end(); ++part) {
    const std::string path = part->substr(0, part->find('='));
    const auto found = chooser.replacements.find(path);
    if (found == chooser.replacements.end()) {
      text.append(" ").append(*part);
    } else if (!found->second.empty()) {
      text.append(" ").append(path).append(found->second);
    }
  }
  return text;
}

// Whether it is of this side of a relay, which tells of both its links.
bool isOf(RelaySide side, const TrafficRecord& record) {
  return record.note.starts_with(std::string(relaySideText(side)) + ": ");
}

// Whether it was the display that ended the link.
bool isDisplays(const TrafficRecord& linkDown) {
  const auto has = [&](std::string_view word) {
    return linkDown.note.find(word) != std::string::npos;
  };
  // What a relay does to the phone, the display did to the relay.
  if (isOf(RelaySide::kPhone, linkDown)) return has("this side");
  return has("display") || has("scenario");
}

// The type's name as people write it: without its ending where that is enough.
std::string shortened(std::string text, const PacketDirectory& directory) {
  const std::size_t end = std::min(text.find(' '), text.size());
  const std::string name = text.substr(0, end);
  for (const std::string_view ending : {"CommandPacket", "EventPacket", "NotificationPacket"}) {
    if (!name.ends_with(ending)) continue;
    const std::string stem = name.substr(0, name.size() - ending.size());
    const auto* const entry = directory.find(stem);
    if (entry != nullptr && entry->type.name() == name) text.replace(0, end, stem);
  }
  return text;
}

}  // namespace

ScenarioWriter::ScenarioWriter(std::ostream& output, std::string_view title,
                               PacketDirectory directory)
    : output_(output), directory_(std::move(directory)), printer_(Secrets::kHidden, directory_) {
  remark(title);
  line(std::string("option timeout=").append(durationText(kTimeout)));
  line("ignore KeepAlive");
}

void ScenarioWriter::line(const std::string& text) { output_ << text << '\n'; }

void ScenarioWriter::remark(std::string_view text) {
  TrafficRecord note;
  note.kind = RecordKind::kNote;
  note.note = text;
  std::string printed;
  printer_.append(printed, note);
  if (!text.empty()) line(printed.substr(printed.find('#')));
}

void ScenarioWriter::write(const TrafficRecord& record) {
  const Pause pause(record.time && last_ ? std::max<std::int64_t>(*record.time - *last_, 0) : 0);
  switch (record.kind) {
    case RecordKind::kLinkUp:
    case RecordKind::kLinkDown:
      if (isOf(RelaySide::kDisplay, record)) return;  // the link is the one to the phone
      link(record, pause);
      break;
    case RecordKind::kNote: return remark(record.note);
    default:
      if (record.bytes.empty()) return remark(record.note);
      if (record.direction == Direction::kToPhone) {
        send(record, pause);
      } else if (record.kind == RecordKind::kFrame) {
        const auto* const entry = entryOf(record.bytes, directory_);
        if (entry != nullptr && entry->type == PacketType::of<KeepAliveCommandPacket>()) return;
        expect(record, pause);
      } else {
        std::string text;
        TrafficRecord shown = record;
        shown.time.reset();
        printer_.append(text, shown);
        return remark(text);
      }
  }
  if (record.time) last_ = record.time;
}

void ScenarioWriter::send(const TrafficRecord& record, Pause pause) {
  const Pause wait = rounded(pause);
  if (wait >= kShortestPause) line(std::string("\nwait   ").append(durationText(wait)));
  TrafficRecord sent = record;
  sent.time.reset();
  sent.direction.reset();
  if (sent.kind != RecordKind::kFrame) sent.kind = RecordKind::kNoise;
  std::string text;
  printer_.append(text, sent);
  if (sent.kind != RecordKind::kFrame || text.starts_with("raw ")) {
    return line("send   " + text);
  }
  const auto* const entry = entryOf(record.bytes, directory_);
  const auto packet = packetIn(record.bytes, *entry);
  FieldChooser chooser(record.time, true);
  packet->visitFields(chooser);
  text = "send   ";
  text += shortened(textOf(*packet, chooser), directory_);
  if (chooser.leavesOut) {
    ++lackingSecrets_;
    text += "  # without its secret";
  }
  line(text);
}

void ScenarioWriter::expect(const TrafficRecord& record, Pause pause) {
  const auto* const entry = entryOf(record.bytes, directory_);
  const auto packet = entry != nullptr ? packetIn(record.bytes, *entry) : nullptr;
  std::string text;
  if (packet != nullptr) {
    FieldChooser chooser(record.time, false);
    packet->visitFields(chooser);
    text = shortened(textOf(*packet, chooser), directory_);
  } else {
    TrafficRecord raw{.kind = RecordKind::kFrame, .bytes = record.bytes};
    printer_.append(text, raw);
    const std::size_t end = text.find(" #");
    const std::string why = end == std::string::npos ? std::string() : text.substr(end);
    text.erase(std::min(end, text.size()));
    if (text.find("**") != std::string::npos) text = "*";  // a secret is in it
    if (2 * pause <= kTimeout) text.append(" ").append(why);
  }
  if (2 * pause > kTimeout) text.append(" within ").append(durationText(generous(pause)));
  line("expect " + text);
}

void ScenarioWriter::link(const TrafficRecord& record, Pause pause) {
  if (record.kind == RecordKind::kLinkDown) {
    const bool isReset = record.note.find("reset") != std::string::npos;
    pendingDown_ = !isDisplays(record) ? "expect link down"
                   : isReset           ? "link   reset"
                                       : "link   close";
    // Who the peer was, a person may know.
    const bool isUnclear = !isDisplays(record) && !isOf(RelaySide::kPhone, record);
    if (isUnclear && !record.note.empty()) {
      pendingDown_.append("  # ").append(HudLog::printableLine(record.note));
    }
    return;
  }
  if (!pendingDown_.empty()) {
    line(std::string("\n").append(std::exchange(pendingDown_, {})));
    std::string up = "expect link up";
    if (2 * pause > kTimeout) up.append(" within ").append(durationText(generous(pause)));
    line(up);
  } else if (std::exchange(wasUp_, true)) {
    line("\nexpect link down");
    line("expect link up");
  }
  wasUp_ = true;
}

}  // namespace varno
