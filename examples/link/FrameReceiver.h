#pragma once

#include "WakePipe.h"

#include <VarnoNetwork/Network/HudNetwork.h>
#include <VarnoTraffic/FrameCutter.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace varno::example {

// Reads a descriptor (a serial device, a socket), cuts what comes into frames and gives each to a
// network. What a receiving thread does: FrameReader's and SocketLink's.
class FrameReceiver {
 public:
  // network, stop: not owned; outlive the receiver.
  FrameReceiver(HudNetwork& network, const WakePipe& stop) : network_(network), stop_(stop) {}

  // Receives until the link ends, and returns the reason why; none where `stop` was woken. Each
  // call is for a new link: a frame that is unfinished at the end is given up. Throws nothing but
  // MainThreadClosedException, where the main thread takes no more packets.
  std::optional<std::string> receive(int descriptor);

  // What was read, over all calls. On the receiving thread, or after it has ended.
  const FrameCutter::Counts& counts() const { return cutter_.counts(); }

  // Frames that handleRawPacket refused, or during which a listener threw. As counts().
  std::uint64_t failedFrames() const { return failedFrames_; }

 private:
  std::optional<std::string> readUntilEnd(int descriptor);

  HudNetwork& network_;
  const WakePipe& stop_;
  FrameCutter cutter_;
  std::uint64_t failedFrames_ = 0;
};

// Runs an action whose exceptions must not end a receiving thread: they go to the log, with `what`
// in front, and the call returns false. Only MainThreadClosedException passes, which is to end the
// thread.
bool runOrLog(std::string_view what, const std::function<void()>& action);

}  // namespace varno::example
