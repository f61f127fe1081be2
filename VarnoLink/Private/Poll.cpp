#include <VarnoLink/Private/Poll.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <system_error>

namespace varno {
namespace {

using SteadyClock = std::chrono::steady_clock;

// Rounded up, so that a deadline in less than a millisecond does not turn into a busy loop.
int millisecondsUntil(std::optional<SteadyClock::time_point> deadline) {
  if (!deadline) return -1;
  using std::chrono::milliseconds;
  const auto left = std::chrono::ceil<milliseconds>(*deadline - SteadyClock::now()).count();
  return static_cast<int>(std::clamp<milliseconds::rep>(left, 0, std::numeric_limits<int>::max()));
}

}  // namespace

SteadyClock::time_point deadlineAfter(std::chrono::milliseconds timeout) {
  constexpr std::chrono::milliseconds kLongest = std::chrono::hours(100 * 365 * 24);
  return SteadyClock::now() + std::min(timeout, kLongest);
}

bool pollUntil(std::span<pollfd> descriptors, std::optional<SteadyClock::time_point> deadline) {
  for (;;) {
    const int ready = ::poll(descriptors.data(), static_cast<nfds_t>(descriptors.size()),
                             millisecondsUntil(deadline));
    if (ready >= 0) return ready > 0;
    if (errno != EINTR) {
      throw std::system_error(errno, std::generic_category(), "cannot wait for a descriptor");
    }
  }
}

}  // namespace varno
