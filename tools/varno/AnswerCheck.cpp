#include "tools/varno/AnswerCheck.h"

#include <VarnoTraffic/Explanation.h>
#include <VarnoTraffic/Notation.h>

#include <algorithm>

namespace varno::tool {
namespace {

std::string lineOf(std::span<const std::uint8_t> frame, const PacketDirectory& directory,
                   Secrets secrets) {
  std::string line;
  NotationPrinter(secrets, directory)
      .append(line, {.kind = RecordKind::kFrame, .bytes = {frame.begin(), frame.end()}});
  return line;
}

std::string valueOf(const FrameSpan* span, Secrets secrets) {
  if (span == nullptr) return "nothing";
  if (span->isSecret && secrets == Secrets::kHidden) return "***";
  return span->value.empty() ? "other bytes" : span->value;
}

const FrameSpan* find(const Explanation& explanation, const std::string& name) {
  const auto found = std::find_if(explanation.spans.begin(), explanation.spans.end(),
                                  [&](const FrameSpan& span) { return span.name == name; });
  return found == explanation.spans.end() ? nullptr : &*found;
}

}  // namespace

std::string differenceOf(std::span<const std::uint8_t> expected,
                         std::span<const std::uint8_t> received, const PacketDirectory& directory,
                         Secrets secrets) {
  std::string text = "  expected  " + lineOf(expected, directory, secrets) + "\n  received  " +
                     lineOf(received, directory, secrets);
  const Explanation wanted = explainFrame(expected, directory);
  const Explanation given = explainFrame(received, directory);
  if (wanted.typeName.empty() || wanted.typeName != given.typeName) return text;
  const auto compare = [&](const FrameSpan& span) {
    const FrameSpan* const one = find(wanted, span.name);
    const FrameSpan* const other = find(given, span.name);
    if (one != nullptr && other != nullptr && one->bytes == other->bytes) return;
    text += "\n  " + span.name + ": expected " + valueOf(one, secrets) + ", received " +
            valueOf(other, secrets);
  };
  for (const FrameSpan& span : wanted.spans) compare(span);
  for (const FrameSpan& span : given.spans) {
    if (find(wanted, span.name) == nullptr) compare(span);
  }
  return text;
}

}  // namespace varno::tool
