// Sends a packet to itself: types, exceptions and the catalogue have to cross the library's border.
#include <VarnoNetwork/VarnoNetwork.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

namespace {

class Echo : public varno::HudNetwork {
  bool sendPacketImpl(std::vector<std::uint8_t> frame) override {
    handleRawPacket(frame);
    return true;
  }
};

class Clock : public varno::PacketHandleDelegate {
 public:
  std::int64_t millis = 0;

  void onPacketReceived(const std::shared_ptr<varno::HudPacket>& packet) override {
    if (auto* time = dynamic_cast<varno::SystemTimeCommandPacket*>(packet.get())) {
      millis = time->timeInMillis();
    }
  }
};

}  // namespace

int main() {
  Echo network;
  auto clock = std::make_shared<Clock>();
  network.registerPacketHandleDelegate(clock);
  varno::SystemTimeCommandPacket packet;
  packet.setTimeInMillis(1234567890123);
  if (!network.sendPacket(packet) || clock->millis != 1234567890123) {
    std::puts("the packet did not arrive");
    return EXIT_FAILURE;
  }
  try {
    network.handleRawPacket({});
  } catch (const varno::InvalidArgumentException&) {
    std::fputs(varno::VarnoNetworkVersionString, stdout);
    return EXIT_SUCCESS;
  }
  std::puts("an empty frame was taken");
  return EXIT_FAILURE;
}
