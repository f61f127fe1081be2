#pragma once

#include <VarnoLink/Clock.h>
#include <VarnoTraffic/TrafficRecord.h>

#include <chrono>
#include <cstdint>
#include <optional>

namespace varno::tool {

// When the records of a capture are due when it is replayed. Each time is told from the beginning,
// so that no delay adds up to another.
class ReplaySchedule {
 public:
  struct Options {
    double speed = 1;  // so many times as fast; 0: without pauses
    // What a longer pause between two records is cut to, before the speed counts.
    std::optional<std::chrono::nanoseconds> gapLimit;
    // The part of the capture, by the time since its first record.
    std::chrono::nanoseconds from{0};
    std::optional<std::chrono::nanoseconds> to;
  };

  enum class Part : std::uint8_t { kBefore, kInside, kBehind };

  explicit ReplaySchedule(const Options& options) : options_(options) {}

  // Where the next record of the capture lies. A record without time, or with one before the last
  // record's, lies where that does.
  Part pass(const TrafficRecord& record);

  // When the record that was passed last is due, for a replay that began then.
  LinkTime due(LinkTime begin) const;

  // The capture begins anew, behind what it had.
  void rewind();

 private:
  Options options_;
  std::optional<std::int64_t> first_;
  std::optional<std::int64_t> last_;    // of those inside
  std::chrono::nanoseconds since_{0};   // the first record, of the one passed last
  std::chrono::nanoseconds offset_{0};  // since the replay began, before the speed counts
};

}  // namespace varno::tool
