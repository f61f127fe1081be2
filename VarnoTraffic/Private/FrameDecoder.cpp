#include <VarnoTraffic/Private/FrameDecoder.h>

#include <VarnoNetwork/Network/HudInputStream.h>
#include <VarnoNetwork/Network/HudOutputStream.h>
#include <VarnoNetwork/Network/Wire.h>

#include <algorithm>
#include <new>

namespace varno {

bool writesSame(const HudPacket& packet, std::span<const std::uint8_t> frame,
                std::vector<std::uint8_t>& written) {
  try {
    HudOutputStream stream;
    packet.serialize(stream);
    const auto size = static_cast<std::size_t>(stream.size());
    if (size != frame.size()) return false;
    if (written.size() < size) written.resize(size);
    stream.toByteArray(written.data(), size);
    return std::equal(frame.begin(), frame.end(), written.begin());
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    return false;  // an application's type may refuse to be written
  }
}

DecodedFrame FrameDecoder::decode(std::span<const std::uint8_t> frame) {
  DecodedFrame decoded;
  if (frame.size() < kShortestFrame || frame.front() != STX || frame.back() != ETX) return decoded;
  try {
    HudInputStream stream = HudInputStream::borrowing(frame.subspan(1, frame.size() - 2));
    PacketIdentifiers ids;
    ids.command = stream.readByte();
    ids.param1 = stream.readByte();
    ids.param2 = stream.readByte();
    decoded.entry = directory_.find(ids);
    if (decoded.entry == nullptr) return decoded;
    decoded.packet = decoded.entry->type.parse(stream);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    return decoded;  // refused, by the frame's header or by an application's type
  }
  if (decoded.packet) decoded.isExact = writesSame(*decoded.packet, frame, written_);
  return decoded;
}

}  // namespace varno
