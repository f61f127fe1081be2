#pragma once

#include <VarnoNetwork/Network/HudPacket.h>

#include <memory>

namespace varno {

// A listener: receives the packets of the types for which it was registered with
// HudNetwork::registerPacketHandleDelegate. Its identity is its address.
class VARNO_EXPORT PacketHandleDelegate {
 public:
  virtual ~PacketHandleDelegate() = default;

  // Runs on the main thread, one listener after the other. The packet is shared with the other
  // listeners of its type and may be kept. While it runs the network holds its listener lock, so it
  // must neither register nor unregister a listener (see HudNetwork); what it throws leaves
  // handleRawPacket on the receiving thread, and the listeners after it are skipped.
  virtual void onPacketReceived(const std::shared_ptr<HudPacket>& packet) = 0;

 protected:
  PacketHandleDelegate() = default;
  PacketHandleDelegate(const PacketHandleDelegate&) = default;
  PacketHandleDelegate& operator=(const PacketHandleDelegate&) = default;
};

}  // namespace varno
