#include <VarnoLink/Clock.h>

namespace varno {

Clock::~Clock() = default;

SystemClock::SystemClock() noexcept
    : begin_(std::chrono::system_clock::now()), steadyBegin_(std::chrono::steady_clock::now()) {}

LinkTime SystemClock::now() const {
  return begin_ + (std::chrono::steady_clock::now() - steadyBegin_);
}

LinkTime ManualClock::now() const { return now_; }

}  // namespace varno
