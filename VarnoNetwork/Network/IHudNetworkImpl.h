#pragma once

#include <VarnoNetwork/Export.h>

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace varno {

// The transport that the application supplies.
class VARNO_EXPORT IHudNetworkImpl {
 public:
  virtual ~IHudNetworkImpl() = default;

  // Sends the bytes of one whole frame to the display, unchanged and as one unit, and says whether
  // it could. The frame is the transport's own and may be kept or moved on. Runs on whatever thread
  // calls HudNetwork::sendPacket, possibly on several at once.
  virtual bool sendPacketImpl(std::vector<std::uint8_t> frame) = 0;

  // For a transport that sends at once: lends it the frame before sendPacketImpl would get it, on
  // the same thread. An answer says, as there, whether the frame could be sent; without one, which
  // is what this function gives, sendPacketImpl gets the frame. The bytes are gone when this
  // returns. Frames of up to about 1,000 bytes that are sent so take no memory from the heap.
  virtual std::optional<bool> sendBorrowedFrame(std::span<const std::uint8_t> frame);

 protected:
  IHudNetworkImpl() = default;
  IHudNetworkImpl(const IHudNetworkImpl&) = default;
  IHudNetworkImpl& operator=(const IHudNetworkImpl&) = default;
};

}  // namespace varno
