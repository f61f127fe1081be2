#include <VarnoNetwork/Network/HudLog.h>
#include <VarnoNetwork/Network/MainThread.h>
#include <VarnoNetwork/Network/MainThreadDelivery.h>
#include <VarnoNetwork/Network/Private/NetworkState.h>

#include <atomic>
#include <optional>
#include <utility>

namespace varno {

struct MainThreadDelivery::State {
  explicit State(std::shared_ptr<HudNetwork::State> shared) : network(std::move(shared)) {}

  bool isClosed() const noexcept { return closed.load() || network->isGone.load(); }

  const std::shared_ptr<HudNetwork::State> network;
  std::atomic<bool> closed = false;
};

MainThreadDelivery::MainThreadDelivery(const HudNetwork& network)
    : state_(std::make_shared<State>(network.state_)) {}

MainThreadDelivery::~MainThreadDelivery() = default;

bool MainThreadDelivery::handle(std::span<const std::uint8_t> frame) {
  if (!MainThread::instance().isCurrent()) {
    throw InternalInconsistencyException("A frame for the main thread came on another thread");
  }
  const std::shared_ptr<State> state = state_;  // a listener may destroy this object
  if (state->isClosed()) return true;
  HudNetwork::State& network = *state->network;
  if (network.dumpReceivePacket.load(std::memory_order_relaxed)) {
    HudPacket::hexDump("ReceivePacket", frame);
  }
  FrameCount counts(network.tallies.malformed);
  std::optional<OpenedFrame> opened;
  try {
    opened.emplace(frame);
  } catch (const HudException&) {
    return false;
  }
  network.receive(*opened, counts, [&](auto& delivery, const auto& listeners, const auto& packet) {
    return delivery.deliverToPresent(listeners, packet, [&] { return state->isClosed(); });
  });
  return true;
}

void MainThreadDelivery::close() noexcept { state_->closed = true; }

}  // namespace varno
