#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <span>

namespace varno::example {

// Writes frames to a non-blocking descriptor (a serial device, a socket), each in one piece: what
// several threads write at the same time does not mix. What an application's sendPacketImpl calls.
class FrameWriter {
 public:
  // descriptor: not owned; outlives the writer.
  // timeout: how long a write waits for a peer that does not read.
  explicit FrameWriter(int descriptor,
                       std::chrono::milliseconds timeout = std::chrono::milliseconds(2000))
      : descriptor_(descriptor), timeout_(timeout) {}

  // Returns when the system has taken all of it; false when the link is gone or the timeout passed.
  // A frame may then be there in part: the next one's STX tells the peer. On any thread, which
  // waits meanwhile; raises no SIGPIPE.
  bool write(std::span<const std::uint8_t> frame);

 private:
  const int descriptor_;
  const std::chrono::milliseconds timeout_;
  std::mutex mutex_;  // one frame at a time
};

}  // namespace varno::example
