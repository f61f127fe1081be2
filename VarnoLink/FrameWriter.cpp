#include <VarnoLink/FrameWriter.h>
#include <VarnoLink/Private/BrokenPipeGuard.h>
#include <VarnoLink/Private/Poll.h>

#include <unistd.h>

#include <cerrno>

namespace varno {
FrameWriter::FrameWriter(int descriptor, std::chrono::milliseconds timeout)
    : descriptor_(descriptor), timeout_(timeout) {}

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
