#include <VarnoTraffic/FrameContent.h>

#include <VarnoNetwork/Network/HudException.h>
#include <VarnoNetwork/Network/HudInputStream.h>
#include <VarnoNetwork/Network/Wire.h>

#include <new>

namespace varno {
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
  if (frame.size() < kShortestFrame || frame.front() != STX || frame.back() != ETX) return nullptr;
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
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    return nullptr;
  }
}

}  // namespace varno
