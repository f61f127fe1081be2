#pragma once

#include <VarnoNetwork/Export.h>

#include <cstdint>
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

 protected:
  IHudNetworkImpl() = default;
  IHudNetworkImpl(const IHudNetworkImpl&) = default;
  IHudNetworkImpl& operator=(const IHudNetworkImpl&) = default;
};

}  // namespace varno
