#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoNetwork/Network/HudPacket.h>
#include <VarnoTraffic/PacketDirectory.h>

#include <cstdint>
#include <memory>
#include <span>

namespace varno {

// The type that the frame's identifiers name; null where there is none, or no frame. Valid while
// the directory is.
VARNO_EXPORT const PacketDirectory::Entry* entryOf(std::span<const std::uint8_t> frame,
                                                   const PacketDirectory& directory);

// The packet in the frame, of the type that entryOf found; null where it holds none, or where an
// application's type throws. Throws nothing but std::bad_alloc.
VARNO_EXPORT std::shared_ptr<HudPacket> packetIn(std::span<const std::uint8_t> frame,
                                                 const PacketDirectory::Entry& entry);

}  // namespace varno
