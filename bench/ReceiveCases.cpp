#include <VarnoNetwork/VarnoNetwork.h>
#include <bench/Case.h>
#include <bench/PeerCases.h>
#include <bench/ReferenceNetwork.h>
#include <bench/SamplePackets.h>
#include <bench/Transport.h>

#include <mutex>

namespace varno::bench {
namespace {

// A payload without its stuffing, from which the floor takes fields without any check.
class PlainPayload {
 public:
  explicit PlainPayload(const HudPacket& packet) {
    const Bytes frame = frameOf(packet);
    HudInputStream stream(bodyOf(frame));
    try {
      for (;;) bytes_.push_back(stream.readByte());
    } catch (const IndexOutOfBoundsException&) {
      bytes_.erase(bytes_.begin(), bytes_.begin() + 3);  // the identifiers
    }
  }

  const std::uint8_t* begin() const { return bytes_.data(); }

 private:
  Bytes bytes_;
};

std::uint64_t takeInteger(const std::uint8_t*& from, std::size_t length) {
  std::uint64_t value = 0;
  while (length-- > 0) value = value << 8 | *from++;
  return value;
}

std::string takeText(const std::uint8_t*& from) {
  const std::uint64_t length = takeInteger(from, 2);
  const auto* text = reinterpret_cast<const char*>(from);
  from += length;
  return std::string(text, length);
}

// Makes a packet and takes its fields out of a plain payload.
using Taker = std::shared_ptr<HudPacket> (*)(const std::uint8_t* payload);

std::shared_ptr<HudPacket> takeNothing(const std::uint8_t*) {
  return std::make_shared<KeepAliveCommandPacket>();
}

std::shared_ptr<HudPacket> takeTime(const std::uint8_t* payload) {
  auto packet = std::make_shared<SystemTimeCommandPacket>();
  packet->setTimeInMillis(static_cast<std::int64_t>(takeInteger(payload, 8)));
  packet->setTimeZoneId(takeText(payload));
  return packet;
}

std::shared_ptr<HudPacket> takeNotification(const std::uint8_t* payload) {
  auto packet = std::make_shared<SocialNotificationPacket>();
  packet->setPackageName(takeText(payload));
  packet->setTitle(takeText(payload));
  packet->setMessage(takeText(payload));
  return packet;
}

// The floor: the packet's memory and its strings', a copy of the payload into them, the lock, and
// the virtual calls.
template <Taker kTake>
Loop floorLoop(const HudPacket& packet, std::size_t listenerCount) {
  struct State {
    PlainPayload payload;
    Listeners listeners;
    std::recursive_mutex lock;
  };
  const std::shared_ptr<State> state(
      new State{PlainPayload(packet), makeListeners(listenerCount), {}});
  require(kTake(state->payload.begin())->description() == packet.description(), "the floor");
  return repeat([state] {
    const std::shared_ptr<HudPacket> received = kTake(state->payload.begin());
    const std::lock_guard lock(state->lock);
    for (const auto& listener : state->listeners) listener->onPacketReceived(received);
  });
}

Loop floorLoop(const HudPacket& packet, std::size_t listenerCount) {
  if (packet.typeName() == KeepAliveCommandPacket::kTypeName) {
    return floorLoop<takeNothing>(packet, listenerCount);
  }
  if (packet.typeName() == SystemTimeCommandPacket::kTypeName) {
    return floorLoop<takeTime>(packet, listenerCount);
  }
  return floorLoop<takeNotification>(packet, listenerCount);
}

Loop libraryLoop(const HudPacket& packet, std::size_t listenerCount) {
  const auto network = std::make_shared<Transport>();
  for (const auto& listener : makeListeners(listenerCount)) {
    network->registerPacketHandleDelegate(listener);
  }
  return repeat([network, frame = frameOf(packet)] { network->handleRawPacket(frame); });
}

Loop referenceLoop(const HudPacket& packet, std::size_t listenerCount) {
  const auto network = std::make_shared<reference::Network>(Transport().packetIdToClassMap());
  for (const auto& listener : makeListeners(listenerCount)) {
    network->registerPacketHandleDelegate(listener);
  }
  return repeat([network, frame = frameOf(packet)] { network->handleRawPacket(frame); });
}

// Receives packets while the given number of types is registered. The cost must not depend on it.
Loop amongTypes(std::int32_t count) {
  const auto network = std::make_shared<Transport>();
  const std::shared_ptr<HudPacket> packet = smallPacket();
  const PacketType type = PacketType::of<KeepAliveCommandPacket>();
  HudNetwork::PacketIdToClassMap types;
  types.emplace(
      HudNetwork::getPacktId(packet->getCommand(), packet->getParam1(), packet->getParam2()), type);
  for (std::int32_t id = 0x04'0000; types.size() < static_cast<std::size_t>(count); ++id) {
    types.emplace(id, type);
  }
  network->setPacketIdToClassMap(types);
  network->registerPacketHandleDelegate(makeListeners(1).front());
  return repeat([network, frame = frameOf(*packet)] { network->handleRawPacket(frame); });
}

}  // namespace

std::vector<Case> receiveCases() {
  std::vector<Case> cases;
  for (const auto& [name, packet] : samplePackets()) {
    cases.push_back({.name = "receive " + name,
                     .library = libraryLoop(*packet, 1),
                     .floor = floorLoop(*packet, 1),
                     .peer = receivingPeer(*packet),
                     .reference = referenceLoop(*packet, 1)});
  }
  const std::shared_ptr<HudPacket> packet = smallPacket();
  for (const std::size_t listeners : {0U, 10U, 100U}) {
    cases.push_back({.name = "receive small, " + std::to_string(listeners) + " listeners",
                     .library = libraryLoop(*packet, listeners),
                     .floor = floorLoop(*packet, listeners),
                     .reference = referenceLoop(*packet, listeners)});
  }
  for (const std::int32_t types : {1, 49, 1'000}) {
    cases.push_back({.name = "receive small, " + std::to_string(types) + " types",
                     .library = amongTypes(types)});
  }
  return cases;
}

}  // namespace varno::bench
