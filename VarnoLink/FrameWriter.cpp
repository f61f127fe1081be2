#include <VarnoLink/FrameWriter.h>
#include <VarnoLink/Private/Poll.h>

#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace varno {
namespace {

// Keeps SIGPIPE from this thread, so that a write to a closed pipe or socket fails with EPIPE and
// nothing else. Unlike ignoring the signal, this leaves the rest of the process alone.
class BrokenPipeGuard {
 public:
  BrokenPipeGuard() {
    sigset_t pending;
    ::sigpending(&pending);
    wasPending_ = ::sigismember(&pending, SIGPIPE) == 1;
    ::sigemptyset(&brokenPipe_);
    ::sigaddset(&brokenPipe_, SIGPIPE);
    ::pthread_sigmask(SIG_BLOCK, &brokenPipe_, &before_);
  }

  ~BrokenPipeGuard() {
    sigset_t pending;
    ::sigpending(&pending);
    int taken = 0;
    // Taken off before the mask is restored, which would deliver it.
    if (!wasPending_ && ::sigismember(&pending, SIGPIPE) == 1) ::sigwait(&brokenPipe_, &taken);
    ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }

  BrokenPipeGuard(const BrokenPipeGuard&) = delete;
  BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;

 private:
  bool wasPending_ = false;
  sigset_t brokenPipe_;
  sigset_t before_;
};

}  // namespace

FrameWriter::FrameWriter(int descriptor, std::chrono::milliseconds timeout)
    : descriptor_(descriptor), timeout_(timeout) {}

bool FrameWriter::write(std::span<const std::uint8_t> frame) {
  const std::lock_guard lock(mutex_);
  const BrokenPipeGuard guard;
  const auto deadline = std::chrono::steady_clock::now() + timeout_;
  while (!frame.empty()) {
    const ssize_t written = ::write(descriptor_, frame.data(), frame.size());
    if (written >= 0) {
      frame = frame.subspan(static_cast<std::size_t>(written));
    } else if (errno == EAGAIN) {
      pollfd link{descriptor_, POLLOUT, 0};
      if (!pollUntil({&link, 1}, deadline)) return false;
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

}  // namespace varno
