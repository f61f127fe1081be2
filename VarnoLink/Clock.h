#pragma once

#include <VarnoNetwork/Export.h>

#include <chrono>

namespace varno {

// A moment, as the traffic records have it: nanoseconds since the epoch.
using LinkTime = std::chrono::sys_time<std::chrono::nanoseconds>;

// Tells the time to what acts by it: a display, faults, a scenario. What it tells never goes back.
class VARNO_EXPORT Clock {
 public:
  virtual ~Clock();

  virtual LinkTime now() const = 0;

 protected:
  Clock() = default;
  Clock(const Clock&) = default;
  Clock& operator=(const Clock&) = default;
};

// The time of day when it was constructed, and from there on steadily: setting the system's clock
// changes nothing. Any number of threads may ask it.
class VARNO_EXPORT SystemClock : public Clock {
 public:
  SystemClock() noexcept;

  LinkTime now() const override;

 private:
  LinkTime begin_;
  std::chrono::steady_clock::time_point steadyBegin_;
};

// Stands still until its owner advances it. One thread at a time.
class VARNO_EXPORT ManualClock : public Clock {
 public:
  explicit ManualClock(LinkTime begin = LinkTime{}) noexcept : now_(begin) {}

  LinkTime now() const override;

  void advance(std::chrono::nanoseconds duration) noexcept { advanceTo(now_ + duration); }

  // Without effect for a time that has passed.
  void advanceTo(LinkTime time) noexcept {
    if (time > now_) now_ = time;
  }

 private:
  LinkTime now_;
};

}  // namespace varno
