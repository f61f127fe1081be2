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
  // that worked. The frame is the transport's own and may be kept or moved on. Runs on whatever
  // thread calls HudNetwork::sendPacket, possibly on several at once.
  virtual bool sendPacketImpl(std::vector<std::uint8_t> frame) = 0;

  // For a transport that sends at once. Gets each frame before sendPacketImpl, on the same thread.
  // The result says whether the frame was sent; without a result, which is the default,
  // sendPacketImpl gets the frame. The bytes are valid only during the call. Frames of up to about
  // 1,000 bytes that are sent this way need no memory from the heap.
  virtual std::optional<bool> sendBorrowedFrame(std::span<const std::uint8_t> frame);

 protected:
  IHudNetworkImpl() = default;
  IHudNetworkImpl(const IHudNetworkImpl&) = default;
  IHudNetworkImpl& operator=(const IHudNetworkImpl&) = default;
};

}  // namespace varno
