#pragma once

#include <VarnoNetwork/Network/HudNetwork.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace varno::bench {

using Bytes = std::vector<std::uint8_t>;

// A network that drops each frame at once.
class Transport : public HudNetwork {
 public:
  bool sendPacketImpl(Bytes frame) override;
};

// The same without a network around it, made where the compiler cannot see its class.
std::unique_ptr<IHudNetworkImpl> makeTransport();

// Listeners that drop each packet at once.
using Listeners = std::vector<std::shared_ptr<PacketHandleDelegate>>;
Listeners makeListeners(std::size_t count);

// What lies between a frame's marks.
std::span<const std::uint8_t> bodyOf(const Bytes& frame);

}  // namespace varno::bench
