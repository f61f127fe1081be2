#pragma once

#include <VarnoNetwork/Network/HudPacket.h>
#include <VarnoTraffic/PacketDirectory.h>

#include <cstdint>
#include <memory>
#include <span>
#include <utility>
#include <vector>

namespace varno {

// What a network makes of a frame.
struct DecodedFrame {
  const PacketDirectory::Entry* entry = nullptr;  // null where no type was found
  std::shared_ptr<HudPacket> packet;              // null where none would be delivered
  // Whether the packet, written, is the frame again. If so, everything in it can be told by values.
  bool isExact = false;
};

// Reads one frame after the other. Its memory is used again.
class FrameDecoder {
 public:
  explicit FrameDecoder(PacketDirectory directory) : directory_(std::move(directory)) {}

  // Valid while the decoder is. Throws nothing but std::bad_alloc.
  DecodedFrame decode(std::span<const std::uint8_t> frame);

  const PacketDirectory& directory() const { return directory_; }

 private:
  PacketDirectory directory_;
  std::vector<std::uint8_t> written_;
};

// Whether the packet's frame is `frame`. `written` is only its memory.
bool writesSame(const HudPacket& packet, std::span<const std::uint8_t> frame,
                std::vector<std::uint8_t>& written);

}  // namespace varno
