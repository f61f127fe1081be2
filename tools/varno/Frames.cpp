#include "tools/varno/Frames.h"

#include <VarnoNetwork/Network/HudException.h>
#include <VarnoNetwork/Network/HudInputStream.h>
#include <VarnoNetwork/Network/Wire.h>

#include <string_view>

namespace varno::tool {
namespace {

// What stands between the marks.
HudInputStream contentOf(std::span<const std::uint8_t> frame) {
  return HudInputStream::borrowing(frame.subspan(1, frame.size() - 2));
}

PacketIdentifiers readIdentifiers(HudInputStream& stream) {
  PacketIdentifiers identifiers;
  identifiers.command = stream.readByte();
  identifiers.param1 = stream.readByte();
  identifiers.param2 = stream.readByte();
  return identifiers;
}

}  // namespace

const PacketDirectory::Entry* entryOf(std::span<const std::uint8_t> frame,
                                      const PacketDirectory& directory) {
  if (frame.size() < kShortestFrame) return nullptr;
  try {
    HudInputStream stream = contentOf(frame);
    return directory.find(readIdentifiers(stream));
  } catch (const IndexOutOfBoundsException&) {
    return nullptr;
  }
}

std::shared_ptr<HudPacket> packetIn(std::span<const std::uint8_t> frame,
                                    const PacketDirectory::Entry& entry) {
  HudInputStream stream = contentOf(frame);
  try {
    readIdentifiers(stream);
    return entry.type.parse(stream);
  } catch (const IndexOutOfBoundsException&) {
    return nullptr;
  }
}

void appendHex(std::string& text, std::span<const std::uint8_t> bytes,
               const std::vector<bool>& hidden) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    if (at > 0) text += ' ';
    if (at < hidden.size() && hidden[at]) {
      text += "**";
    } else {
      text += kDigits[bytes[at] >> 4];
      text += kDigits[bytes[at] & 0xF];
    }
  }
}

}  // namespace varno::tool
