#pragma once

#include <VarnoNetwork/Network/HudPacket.h>
#include <VarnoTraffic/PacketDirectory.h>

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace varno {

// What a network makes of a frame.
struct DecodedFrame {
  const PacketDirectory::Entry* entry = nullptr;  // null where no type was found
  std::shared_ptr<HudPacket> packet;              // null where none would be delivered
  // Whether the packet, written, is the frame again. If so, everything in it can be told by values.
  bool isExact = false;
};

// Decodes a frame with the directory's types; the result is valid while the directory is. memory:
// is used again from call to call. Throws nothing but std::bad_alloc.
DecodedFrame decodeFrame(std::span<const std::uint8_t> frame, const PacketDirectory& directory,
                         std::vector<std::uint8_t>& memory);

// Whether the packet's frame is `frame`.
bool writesSame(const HudPacket& packet, std::span<const std::uint8_t> frame,
                std::vector<std::uint8_t>& memory);

}  // namespace varno
