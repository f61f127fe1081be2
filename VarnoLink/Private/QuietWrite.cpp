#include <VarnoLink/Private/QuietWrite.h>

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace varno {
namespace {

#ifdef MSG_NOSIGNAL
constexpr int kSendFlags = MSG_NOSIGNAL;
#else
constexpr int kSendFlags = 0;  // the socket has SO_NOSIGPIPE
#endif

// Keeps SIGPIPE from this thread. Unlike ignoring the signal, this leaves the rest of the process
// alone.
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

ssize_t writeOnce(int descriptor, bool isSocket, std::span<const std::uint8_t> bytes) {
  if (isSocket) return ::send(descriptor, bytes.data(), bytes.size(), kSendFlags);
  ssize_t written = 0;
  int error = 0;
  {
    const BrokenPipeGuard guard;
    written = ::write(descriptor, bytes.data(), bytes.size());
    error = errno;
  }
  errno = error;
  return written;
}

}  // namespace

ssize_t writeQuietly(int descriptor, bool isSocket, std::span<const std::uint8_t> bytes) noexcept {
  for (;;) {
    const ssize_t written = writeOnce(descriptor, isSocket, bytes);
    if (written >= 0 || errno != EINTR) return written;
  }
}

}  // namespace varno
