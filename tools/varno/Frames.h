#pragma once

#include <VarnoTraffic/PacketDirectory.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace varno::tool {

// The type that the frame's identifiers name; null where there is none.
const PacketDirectory::Entry* entryOf(std::span<const std::uint8_t> frame,
                                      const PacketDirectory& directory);

// The packet in the frame, of the type that entryOf found; null where it holds none.
std::shared_ptr<HudPacket> packetIn(std::span<const std::uint8_t> frame,
                                    const PacketDirectory::Entry& entry);

// Two digits a byte, with blanks between; "**" for each byte that `hidden`, unless it is empty,
// tells to hide.
void appendHex(std::string& text, std::span<const std::uint8_t> bytes,
               const std::vector<bool>& hidden = {});

}  // namespace varno::tool
