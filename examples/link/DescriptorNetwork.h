#pragma once

#include "FrameWriter.h"

#include <VarnoNetwork/Network/HudNetwork.h>

#include <cstdint>
#include <vector>

namespace varno::example {

// A network whose transport is one descriptor: a serial device, a socket that is connected.
class DescriptorNetwork : public HudNetwork {
 public:
  // descriptor: non-blocking; not owned, outlives the network.
  explicit DescriptorNetwork(int descriptor) : writer_(descriptor) {}

  bool sendPacketImpl(std::vector<std::uint8_t> frame) override { return writer_.write(frame); }

 private:
  FrameWriter writer_;
};

}  // namespace varno::example
