#include <bench/Transport.h>
#include <benchmark/benchmark.h>

namespace varno::bench {
namespace {

class DroppingTransport : public IHudNetworkImpl {
 public:
  bool sendPacketImpl(Bytes frame) override {
    benchmark::DoNotOptimize(frame.data());
    return true;
  }
};

class DroppingListener : public PacketHandleDelegate {
 public:
  void onPacketReceived(const std::shared_ptr<HudPacket>& packet) override {
    benchmark::DoNotOptimize(packet.get());
  }
};

}  // namespace

bool Transport::sendPacketImpl(Bytes frame) {
  benchmark::DoNotOptimize(frame.data());
  return true;
}

std::unique_ptr<IHudNetworkImpl> makeTransport() { return std::make_unique<DroppingTransport>(); }

Listeners makeListeners(std::size_t count) {
  Listeners listeners;
  while (listeners.size() < count) listeners.push_back(std::make_shared<DroppingListener>());
  return listeners;
}

std::span<const std::uint8_t> bodyOf(const Bytes& frame) {
  return std::span<const std::uint8_t>(frame).subspan(1, frame.size() - 2);
}

}  // namespace varno::bench
