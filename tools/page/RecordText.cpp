#include "tools/page/RecordText.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <string_view>
#include <utility>

namespace varno::tool {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view kRaw = "raw ";
constexpr std::string_view kRemark = " #: ";

std::string shortened(std::string_view text) {
  if (text.size() <= RecordText::kMaxRowText) return std::string(text);
  std::size_t end = RecordText::kMaxRowText;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return std::string(text.substr(0, end)) + "…";
}

bool isExplained(RecordKind kind) {
  return kind == RecordKind::kFrame || kind == RecordKind::kTorn || kind == RecordKind::kShort;
}

// What is wrong with the record: sentences, none where nothing is.
std::vector<std::string> problemsOf(RecordKind kind, const Explanation& explanation,
                                    Secrets secrets) {
  std::vector<std::string> problems;
  if (!recordKindProblem(kind).empty()) problems.emplace_back(recordKindProblem(kind));
  if (kind == RecordKind::kFrame) problems = explanation.sentences(secrets);
  return problems;
}

std::string hexOf(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const std::uint8_t byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xF];
  }
  return text;
}

// Text that came over the wire may be no UTF-8.
std::string dumped(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json spanJson(const FrameSpan& span, Secrets secrets) {
  const bool isHidden = span.isSecret && secrets == Secrets::kHidden;
  Json json = {{"offset", span.offset}, {"length", span.wire.size()}, {"name", span.name}};
  if (isHidden) {
    json["secret"] = true;
    json["value"] = "***";
    if (!span.remarks.empty()) json["remarks"] = {"something is unusual in this secret"};
    return json;
  }
  json["wire"] = hexOf(span.wire);
  json["bytes"] = hexOf(span.bytes);
  json["value"] = span.value;
  json["remarks"] = span.remarks;
  return json;
}

// Where reading stopped: the spans, from the first one to the last, that the reason is about.
std::pair<std::size_t, std::size_t> wrongSpans(const Explanation& explanation) {
  const std::vector<FrameSpan>& spans = explanation.spans;
  if (explanation.reason.empty() || spans.empty()) return {0, 0};
  const auto at = [&](std::string_view name) {
    return static_cast<std::size_t>(
        std::find_if(spans.begin(), spans.end(),
                     [&](const FrameSpan& span) { return span.name == name; }) -
        spans.begin());
  };
  const std::size_t last = at("param2");
  if (explanation.typeName.empty() && last < spans.size()) return {at("command"), last + 1};
  const std::size_t end = spans.size() - (spans.size() > 1 && spans.back().name == "ETX" ? 1 : 0);
  return {end - 1, end};
}

Json headOf(std::uint64_t number, const TrafficRecord& record) {
  Json json = {{"n", number}};
  if (record.time) json["t"] = timeText(*record.time);
  if (record.direction) json["d"] = directionText(*record.direction);
  json["k"] = recordKindText(record.kind);
  return json;
}

}  // namespace

std::string timeText(std::int64_t nanoseconds) {
  constexpr std::uint64_t kSecond = 1'000'000'000;
  const bool isNegative = nanoseconds < 0;
  const auto value = static_cast<std::uint64_t>(nanoseconds);
  const std::uint64_t size = isNegative ? 0 - value : value;
  const std::string rest = std::to_string(size % kSecond);
  return (isNegative ? "-" : "") + std::to_string(size / kSecond) + "." +
         std::string(9 - rest.size(), '0') + rest;
}

std::string RecordText::row(std::uint64_t number, const TrafficRecord& record,
                            std::string& hiddenBytes) {
  bare_.kind = record.kind;
  bare_.bytes = record.bytes;
  bare_.direction = record.direction;
  line_.clear();
  printer_.append(line_, bare_);
  std::string_view text = line_;
  if (record.direction) text.remove_prefix(2);

  Json json = headOf(number, record);
  if (record.kind == RecordKind::kFrame && !text.starts_with(kRaw)) {
    const std::size_t end = std::min(text.find(' '), text.size());
    json["y"] = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
  } else if (isExplained(record.kind) && !record.bytes.empty()) {
    const Explanation explanation = explainFrame(record.bytes, directory_);
    if (!explanation.typeName.empty()) json["y"] = explanation.typeName;
    const auto problems = problemsOf(record.kind, explanation, secrets_);
    if (!problems.empty()) json["b"] = problems;
    const std::size_t remark = text.find(kRemark);
    if (explanation.verdict == Verdict::kDelivered && remark != std::string_view::npos) {
      text.remove_prefix(std::min(text.size(), remark + kRemark.size()));
      if (text.starts_with(explanation.typeName)) text.remove_prefix(explanation.typeName.size());
    } else {
      text = text.substr(0, remark);
    }
  } else {
    const std::string_view fault = recordKindProblem(record.kind);
    if (!fault.empty()) json["b"] = {fault};
    text.remove_prefix(std::min(text.size(), recordKindText(record.kind).size() + 1));
    if (text.find("**") != std::string_view::npos) hiddenBytes = text;
  }
  while (text.starts_with(' ')) text.remove_prefix(1);
  if (!text.empty()) json["s"] = shortened(text);
  json["l"] = record.bytes.size();
  if (!record.note.empty()) json["o"] = shortened(record.note);
  return dumped(json);
}

std::string frameJson(std::uint64_t number, const TrafficRecord& record,
                      const std::string& hiddenBytes, Secrets secrets) {
  Json json = headOf(number, record);
  json["length"] = record.bytes.size();
  if (!record.note.empty()) json["note"] = record.note;
  json["spans"] = Json::array();
  json["problems"] = Json::array();
  if (isExplained(record.kind) && !record.bytes.empty()) {
    const Explanation explanation = explainFrame(record.bytes, PacketDirectory());
    json["type"] = explanation.typeName;
    json["problems"] = problemsOf(record.kind, explanation, secrets);
    if (record.kind == RecordKind::kFrame) json["verdict"] = verdictText(explanation.verdict);
    const auto [firstWrong, endWrong] = wrongSpans(explanation);
    for (std::size_t at = 0; at < explanation.spans.size(); ++at) {
      Json& span = json["spans"].emplace_back(spanJson(explanation.spans[at], secrets));
      if (at < firstWrong || at >= endWrong) continue;
      span["isWrong"] = true;
      // As the sentences have it, which tell nothing of a secret.
      if (at + 1 == endWrong) span["why"] = json["problems"].front();
    }
    std::string line;
    JsonPrinter(secrets).append(line, record);
    const Json printed = Json::parse(line, nullptr, false);
    if (printed.is_object() && printed.contains("fields")) json["fields"] = printed["fields"];
  } else if (!record.bytes.empty()) {
    const std::string_view word = recordKindProblem(record.kind);
    if (!word.empty()) json["problems"].push_back(word);
    Json span = {
        {"offset", 0}, {"length", record.bytes.size()}, {"name", recordKindText(record.kind)}};
    if (hiddenBytes.empty()) {
      span["wire"] = span["bytes"] = hexOf(record.bytes);
    } else {
      span["secret"] = true;
    }
    span["value"] = "";
    json["spans"].push_back(std::move(span));
  }
  return dumped(json);
}

}  // namespace varno::tool
