#include <VarnoLink/Private/QuietWrite.h>

#include <VarnoLink/Private/BrokenPipeGuard.h>

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace varno {
namespace {

#ifdef MSG_NOSIGNAL
constexpr int kSendFlags = MSG_NOSIGNAL;
#else
constexpr int kSendFlags = 0;  // the socket has SO_NOSIGPIPE
#endif

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
