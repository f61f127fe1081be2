#include <VarnoLink/FrameWriter.h>
#include <VarnoLink/Private/BrokenPipeGuard.h>
#include <VarnoLink/Private/Poll.h>

#include <VarnoNetwork/Network/HudException.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace varno {

FrameWriter::FrameWriter(int descriptor, std::chrono::milliseconds timeout)
    : descriptor_(descriptor), timeout_(timeout) {
  const int flags = ::fcntl(descriptor, F_GETFL);
  if (flags >= 0 && (flags & O_NONBLOCK) == 0) {
    throw InvalidArgumentException("The descriptor " + std::to_string(descriptor) +
                                   " is blocking: a write would wait longer than the timeout");
  }
}

bool FrameWriter::write(std::span<const std::uint8_t> frame) {
  const std::lock_guard lock(mutex_);
  const BrokenPipeGuard guard;
  const auto deadline = deadlineAfter(timeout_);
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
