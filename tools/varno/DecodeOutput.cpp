#include "tools/varno/DecodeOutput.h"

#include "tools/varno/Frames.h"

#include <VarnoTraffic/FrameContent.h>

#include <algorithm>
#include <cstdlib>
#include <utility>
#include <vector>

namespace varno::tool {
namespace {

constexpr std::string_view kRaw = "raw";
constexpr std::string_view kDim = "\x1B[2m";
constexpr std::string_view kBold = "\x1B[1m";
constexpr std::string_view kRed = "\x1B[31m";
constexpr std::string_view kPlain = "\x1B[0m";

Secrets secretsOf(const DecodeOutput::Options& options) {
  return options.showsSecrets ? Secrets::kShown : Secrets::kHidden;
}

void appendCount(std::string& text, std::uint64_t count, std::string_view word) {
  if (count == 0) return;
  if (!text.empty()) text += ", ";
  text.append(std::to_string(count)).append(" ").append(word);
}

}  // namespace

bool wantsColors(const OutputFile& output) {
  const char* const noColor = std::getenv("NO_COLOR");  // NOLINT(concurrency-mt-unsafe)
  return output.isTerminal() && (noColor == nullptr || *noColor == '\0');
}

std::string DecodeOutput::Tally::text() const {
  std::string wrong;
  appendCount(wrong, dropped, "dropped");
  appendCount(wrong, refused, "refused");
  appendCount(wrong, unusual, "unusual");
  std::string text;
  for (const RecordKind kind : kRecordKinds) {
    const std::uint64_t count = records[static_cast<std::size_t>(kind)];
    const bool isFrames = kind == RecordKind::kFrame;
    appendCount(text, count, isFrames && count != 1 ? "frames" : recordKindText(kind));
    if (isFrames && !wrong.empty()) text += " (" + wrong + ")";
  }
  return text.empty() ? "no records" : text;
}

DecodeOutput::DecodeOutput(const Options& options, const PacketDirectory& directory)
    : options_(options),
      directory_(directory),
      notation_(secretsOf(options), directory),
      json_(secretsOf(options), directory) {}

void DecodeOutput::pass(const TrafficRecord& record) {
  std::uint64_t& next =
      offsets_[record.direction ? 1 + static_cast<std::size_t>(*record.direction) : 0];
  offset_ = next;
  next += record.bytes.size();
}

std::string_view DecodeOutput::show(TrafficRecord& record) {
  const std::optional<std::int64_t> base = base_;
  applyTimes(record);
  text_.clear();
  const bool isJson = options_.form == Form::kJson;
  if (isJson) {
    json_.append(text_, record);
  } else {
    notation_.append(text_, record);
  }
  // The printers say in what they print whether the frame is as its packet would write it: with
  // the usual one nothing more is to be done.
  const std::size_t wordAt = isJson ? 0 : wordOf(record);
  std::optional<Explanation> explanation;
  if (record.kind == RecordKind::kFrame &&
      (isJson ? text_.find(",\"problems\":[") != std::string::npos
              : text_.compare(wordAt, kRaw.size(), kRaw) == 0)) {
    explanation = explainFrame(record.bytes, directory_);
  }
  const bool isBad = count(record, explanation);
  if (options_.onlyBad && !isBad) {
    base_ = base;
    return {};
  }
  if (!isJson) {
    if (options_.form == Form::kHex && !explanation) showHex(record, wordAt);
    if (isBad) appendPlace(record);
    if (options_.isColored) color(wordAt, isBad);
  }
  text_ += '\n';
  if (options_.form == Form::kExplain) appendTable(record, explanation);
  return text_;
}

bool DecodeOutput::count(const TrafficRecord& record,
                         const std::optional<Explanation>& explanation) {
  ++tally_.records[static_cast<std::size_t>(record.kind)];
  if (!explanation) return !recordKindProblem(record.kind).empty();
  if (explanation->verdict == Verdict::kDropped) {
    ++tally_.dropped;
  } else if (explanation->verdict == Verdict::kRefused) {
    ++tally_.refused;
  } else if (!explanation->sentences().empty()) {
    ++tally_.unusual;
  } else {
    return false;
  }
  return true;
}

void DecodeOutput::applyTimes(TrafficRecord& record) {
  if (options_.times == Times::kAbsolute || !record.time) return;
  const std::int64_t base = base_.value_or(*record.time);
  if (!base_ || options_.times == Times::kDelta) base_ = record.time;
  // Times as far apart as 64 bits allow would overflow: such a difference wraps.
  record.time = static_cast<std::int64_t>(static_cast<std::uint64_t>(*record.time) -
                                          static_cast<std::uint64_t>(base));
}

std::size_t DecodeOutput::wordOf(const TrafficRecord& record) const {
  std::size_t at = record.time ? text_.find(')') + 2 : 0;
  if (record.direction) at += 2;
  return at;
}

void DecodeOutput::showHex(const TrafficRecord& record, std::size_t wordAt) {
  if (record.bytes.empty() || record.kind != RecordKind::kFrame) return;
  const std::string packet = text_.substr(wordAt);
  text_.resize(wordAt);
  text_.append(kRaw).append(" ");
  const PacketDirectory::Entry* const entry = entryOf(record.bytes, directory_);
  const bool mayHide = !options_.showsSecrets && (entry == nullptr || entry->mayHaveSecrets);
  appendHex(text_, record.bytes,
            mayHide ? explainFrame(record.bytes, directory_).secretBytes() : std::vector<bool>());
  text_.append(" #: ").append(packet);
}

void DecodeOutput::appendPlace(const TrafficRecord& record) {
  const std::string_view fault = recordKindProblem(record.kind);
  text_ += fault.empty() ? "; " : " #: ";
  if (!fault.empty()) text_.append(fault).append(", ");
  text_.append("at byte ").append(std::to_string(offset_)).append(" of the stream");
}

void DecodeOutput::appendTable(const TrafficRecord& record,
                               const std::optional<Explanation>& explanation) {
  const bool isExplained = record.kind == RecordKind::kFrame || record.kind == RecordKind::kTorn ||
                           record.kind == RecordKind::kShort;
  if (!isExplained || record.bytes.empty()) return;
  const std::string table = (explanation ? *explanation : explainFrame(record.bytes, directory_))
                                .table(secretsOf(options_));
  for (std::string_view rest = table; !rest.empty();) {
    const std::size_t end = rest.find('\n') + 1;
    text_.append("    ").append(rest.substr(0, end));
    rest.remove_prefix(end);
  }
  text_ += '\n';
}

void DecodeOutput::color(std::size_t wordAt, bool isBad) {
  const std::size_t wordEnd = std::min(text_.find(' ', wordAt), text_.size());
  std::string colored;
  if (wordAt > 0) colored.append(kDim).append(text_, 0, wordAt).append(kPlain);
  if (isBad) {
    colored.append(kRed).append(text_, wordAt).append(kPlain);
  } else {
    colored.append(kBold).append(text_, wordAt, wordEnd - wordAt).append(kPlain);
    colored.append(text_, wordEnd);
  }
  text_ = std::move(colored);
}

}  // namespace varno::tool
