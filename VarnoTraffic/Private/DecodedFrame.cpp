#include <VarnoTraffic/Private/DecodedFrame.h>

#include <VarnoNetwork/Network/HudOutputStream.h>
#include <VarnoTraffic/FrameContent.h>

#include <algorithm>
#include <new>

namespace varno {

bool writesSame(const HudPacket& packet, std::span<const std::uint8_t> frame,
                std::vector<std::uint8_t>& memory) {
  try {
    HudOutputStream stream;
    packet.serialize(stream);
    const auto size = static_cast<std::size_t>(stream.size());
    if (size != frame.size()) return false;
    if (memory.size() < size) memory.resize(size);
    stream.toByteArray(memory.data(), size);
    return std::equal(frame.begin(), frame.end(), memory.begin());
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    return false;  // an application's type may refuse to be written
  }
}

DecodedFrame decodeFrame(std::span<const std::uint8_t> frame, const PacketDirectory& directory,
                         std::vector<std::uint8_t>& memory) {
  DecodedFrame decoded;
  decoded.entry = entryOf(frame, directory);
  if (decoded.entry == nullptr) return decoded;
  decoded.packet = packetIn(frame, *decoded.entry);
  if (decoded.packet) decoded.isExact = writesSame(*decoded.packet, frame, memory);
  return decoded;
}

}  // namespace varno
