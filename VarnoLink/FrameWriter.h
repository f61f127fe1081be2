#pragma once

#include <VarnoNetwork/Export.h>

#include <chrono>
#include <cstdint>
#include <mutex>
#include <span>

namespace varno {

// Writes frames to a descriptor of the caller's (a serial device, a socket), each in one piece:
// what several threads write at the same time does not mix. For the sendPacketImpl of a network
// with a transport of its own.
class VARNO_EXPORT FrameWriter {
 public:
  // descriptor: non-blocking (O_NONBLOCK); not owned, outlives the writer.
  // timeout: how long a write waits for a peer that does not read.
  // Throws InvalidArgumentException for a descriptor that is blocking.
  explicit FrameWriter(int descriptor,
                       std::chrono::milliseconds timeout = std::chrono::milliseconds(2000));

  FrameWriter(const FrameWriter&) = delete;
  FrameWriter& operator=(const FrameWriter&) = delete;

  // Returns when the system has taken all of it; false when the link is gone or the timeout passed.
  // A frame may then be there in part: the next one's STX tells the peer. On any thread, which
  // waits meanwhile; raises no SIGPIPE.
  bool write(std::span<const std::uint8_t> frame);

 private:
  const int descriptor_;
  const std::chrono::milliseconds timeout_;
  std::mutex mutex_;  // one frame at a time
};

}  // namespace varno
