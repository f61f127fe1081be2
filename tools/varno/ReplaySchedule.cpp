#include "tools/varno/ReplaySchedule.h"

#include <algorithm>
#include <limits>

namespace varno::tool {
namespace {

// Times as far apart as 64 bits allow have no difference there.
std::chrono::nanoseconds between(std::int64_t from, std::int64_t to) {
  if (to <= from) return std::chrono::nanoseconds(0);
  const std::uint64_t difference =
      static_cast<std::uint64_t>(to) - static_cast<std::uint64_t>(from);
  constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
  return std::chrono::nanoseconds(static_cast<std::int64_t>(std::min(difference, kMost)));
}

}  // namespace

ReplaySchedule::Part ReplaySchedule::pass(const TrafficRecord& record) {
  if (record.time) {
    if (!first_) first_ = record.time;
    since_ = std::max(since_, between(*first_, *record.time));
  }
  if (since_ < options_.from) return Part::kBefore;
  if (options_.to && since_ > *options_.to) return Part::kBehind;
  if (record.time) {
    std::chrono::nanoseconds gap = between(last_.value_or(*record.time), *record.time);
    if (options_.gapLimit) gap = std::min(gap, *options_.gapLimit);
    offset_ = gap < std::chrono::nanoseconds::max() - offset_ ? offset_ + gap
                                                              : std::chrono::nanoseconds::max();
    last_ = std::max(last_.value_or(*record.time), *record.time);
  }
  return Part::kInside;
}

LinkTime ReplaySchedule::due(LinkTime begin) const {
  if (options_.speed <= 0) return begin;
  const double wait = static_cast<double>(offset_.count()) / options_.speed;
  // Beyond this nobody waits, and the clock has no such times.
  constexpr double kMost = 1e18;
  return begin + std::chrono::nanoseconds(static_cast<std::int64_t>(std::min(wait, kMost)));
}

void ReplaySchedule::rewind() {
  first_.reset();
  last_.reset();
  since_ = {};
}

}  // namespace varno::tool
