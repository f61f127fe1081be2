#include <VarnoTraffic/TrafficRecord.h>

#include <algorithm>
#include <cstddef>

namespace varno {
namespace {

// In the order of the enumerations.
constexpr std::string_view kDirectionTexts[] = {">", "<"};
constexpr std::string_view kKindTexts[] = {"frame",   "noise",     "torn",  "short", "long",
                                           "link up", "link down", "fault", "note"};
static_assert(std::size(kKindTexts) == kRecordKinds.size());

template <class Value, std::size_t kCount>
std::optional<Value> valueOf(const std::string_view (&texts)[kCount], std::string_view text) {
  const auto* const found = std::find(std::begin(texts), std::end(texts), text);
  if (found == std::end(texts)) return std::nullopt;
  return static_cast<Value>(found - std::begin(texts));
}

}  // namespace

std::string_view directionText(Direction direction) noexcept {
  return kDirectionTexts[static_cast<std::size_t>(direction)];
}

std::string_view recordKindText(RecordKind kind) noexcept {
  return kKindTexts[static_cast<std::size_t>(kind)];
}

std::optional<Direction> directionFromText(std::string_view text) noexcept {
  return valueOf<Direction>(kDirectionTexts, text);
}

std::optional<RecordKind> recordKindFromText(std::string_view text) noexcept {
  return valueOf<RecordKind>(kKindTexts, text);
}

bool mayHaveBytes(RecordKind kind) noexcept {
  return kind <= RecordKind::kLong || kind == RecordKind::kFault;
}

std::string_view recordKindProblem(RecordKind kind) noexcept {
  switch (kind) {
    case RecordKind::kNoise: return "outside any frame";
    case RecordKind::kTorn: return "cut off before its end";
    case RecordKind::kShort: return "shorter than any frame";
    case RecordKind::kLong: return "of a frame that is too long";
    case RecordKind::kFault: return "put in on purpose";
    default: return {};
  }
}

}  // namespace varno
