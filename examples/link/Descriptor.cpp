#include "Descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <system_error>

namespace varno::example {
namespace {

// Rounded up, so that a deadline in less than a millisecond does not turn into a busy loop.
int millisecondsUntil(std::optional<Deadline> deadline) {
  if (!deadline) return -1;
  using std::chrono::milliseconds;
  const auto left =
      std::chrono::ceil<milliseconds>(*deadline - std::chrono::steady_clock::now()).count();
  return static_cast<int>(std::clamp<milliseconds::rep>(left, 0, std::numeric_limits<int>::max()));
}

}  // namespace

Descriptor::~Descriptor() {
  if (number_ >= 0) ::close(number_);
}

void throwErrno(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

void makeNonBlocking(int descriptor) {
  const int flags = ::fcntl(descriptor, F_GETFL);
  if (flags < 0 || ::fcntl(descriptor, F_SETFL, flags | O_NONBLOCK) < 0 ||
      ::fcntl(descriptor, F_SETFD, FD_CLOEXEC) < 0) {
    throwErrno("cannot make the descriptor non-blocking");
  }
}

bool pollUntil(std::span<pollfd> descriptors, std::optional<Deadline> deadline) {
  for (;;) {
    const int ready = ::poll(descriptors.data(), static_cast<nfds_t>(descriptors.size()),
                             millisecondsUntil(deadline));
    if (ready >= 0) return ready > 0;
    if (errno != EINTR) throwErrno("cannot wait for the link");
  }
}

}  // namespace varno::example
