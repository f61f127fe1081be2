#pragma once

#include <VarnoNetwork/Network/HudInputStream.h>
#include <VarnoNetwork/Network/HudNetwork.h>
#include <VarnoNetwork/Network/Private/DropWatch.h>
#include <VarnoNetwork/Network/Private/ListenerRegistry.h>
#include <VarnoNetwork/Network/Private/NetworkTallies.h>
#include <VarnoNetwork/Network/Private/PacketTable.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

namespace varno {

// A received frame, from behind its identifiers on. Refers to the frame.
struct OpenedFrame {
  // Throws as HudNetwork::handleRawPacket does for a malformed frame.
  explicit OpenedFrame(std::span<const std::uint8_t> whole);

  std::span<const std::uint8_t> frame;
  HudInputStream stream;
  PacketIdentifiers identifiers;
};

// What is behind a network. A MainThreadDelivery shares it, so it may outlive the network.
struct HudNetwork::State {
  // The type's identifiers. If asking for them throws, records the type as left out and returns
  // none.
  std::optional<PacketIdentifiers> probe(PacketType type);

  const PacketTable& types() const noexcept { return *table.load(std::memory_order_acquire); }
  void setTypes(std::unique_ptr<const PacketTable> types);

  // Parses the frame and has deliver(delivery, listeners, packet), which says whether anybody
  // listens, deliver the packet. counts: for the frame.
  template <class Deliver>
  void receive(OpenedFrame& opened, FrameCount& counts, Deliver&& deliver);

  std::atomic<bool> dumpSendPacket = false;
  std::atomic<bool> dumpReceivePacket = false;
  std::atomic<bool> isGone = false;  // whether the network was destroyed
  std::atomic<const PacketTable*> table = nullptr;
  ListenerRegistry registry;
  NetworkTallies tallies;
  DropWatch drops;
  std::mutex tablesLock;
  // All tables, replaced ones too: another thread may still be reading one.
  std::vector<std::unique_ptr<const PacketTable>> tables;
};

template <class Deliver>
void HudNetwork::State::receive(OpenedFrame& opened, FrameCount& counts, Deliver&& deliver) {
  counts.in(tallies.failed);
  const PacketIdentifiers& ids = opened.identifiers;
  const PacketListeners* listeners = types().find(getPacktId(ids.command, ids.param1, ids.param2));
  if (listeners == nullptr) {
    counts.isDone();
    return drops.dropUnknown(ids, opened.frame, tallies);
  }
  const std::shared_ptr<HudPacket> packet = listeners->type.parse(opened.stream);
  if (!packet) {
    counts.isDone();
    return drops.dropPayload(listeners->type, ids, opened.frame, tallies);
  }

  ListenerRegistry::Delivery delivery(registry);
  const bool isHeard = deliver(delivery, *listeners, packet);
  (isHeard ? tallies.delivered : tallies.unheard).addAlone();  // under the listener lock
  counts.isDone();
}

}  // namespace varno
