#include <VarnoNetwork/Network/HudInputStream.h>
#include <VarnoNetwork/Network/PacketCatalogue.h>
#include <bench/Case.h>
#include <bench/ReferenceNetwork.h>
#include <bench/Transport.h>

#include <cstring>
#include <mutex>
#include <random>
#include <string>
#include <type_traits>

namespace varno::bench {
namespace {

constexpr std::size_t kPackets = 4096;  // too many for a branch predictor to learn

std::string randomText(std::minstd_rand& random) {
  std::string text(random() % 41, ' ');
  for (char& byte : text) byte = static_cast<char>(' ' + random() % 95);
  return text;
}

// Fills fields with random values: texts have up to 40 bytes, sets up to three of them.
void fill(HudPacket& packet, std::minstd_rand& random) {
  forEachField(packet, [&](const FieldInfo&, auto& value) {
    using Value = std::remove_reference_t<decltype(value)>;
    if constexpr (std::is_same_v<Value, bool>) {
      value = random() % 2 == 0;
    } else if constexpr (std::is_arithmetic_v<Value>) {
      value = static_cast<Value>(random() % 1'000);
    } else if constexpr (std::is_same_v<Value, HudString>) {
      value = randomText(random);
    } else {
      value.clear();
      for (auto left = random() % 4; left > 0; --left) value.insert(randomText(random));
    }
  });
}

struct Mix {
  std::vector<std::shared_ptr<HudPacket>> packets;
  std::vector<PacketType> types;
  std::vector<Bytes> frames;
};

// Packets of all types at random, but for the type that does not read back what it wrote.
std::shared_ptr<const Mix> makeMix() {
  std::vector<PacketType> types = PacketCatalogue::packetTypes();
  std::erase_if(types, [](PacketType type) {
    const Bytes frame = frameOf(*type.make());
    HudInputStream stream(bodyOf(frame));
    for (int identifier = 0; identifier < 3; ++identifier) stream.readByte();
    return type.parse(stream) == nullptr;
  });
  require(types.size() >= 36, "fewer than 36 packet types are mixed");

  auto mix = std::make_shared<Mix>();
  std::minstd_rand random(3);
  while (mix->packets.size() < kPackets) {
    const PacketType type = types[random() % types.size()];
    const std::shared_ptr<HudPacket> packet = type.make();
    fill(*packet, random);
    mix->packets.push_back(packet);
    mix->types.push_back(type);
    mix->frames.push_back(frameOf(*packet));
    require(mix->frames.back() == reference::Network::frameOf(*packet), packet->description());
  }
  return mix;
}

// Calls the action for one packet of the mix after the other.
template <class Action>
Loop repeatOver(Action action) {
  return [action = std::move(action), next = std::size_t{0}](std::size_t times) mutable {
    while (times-- > 0) action(next++ % kPackets);
  };
}

// The floor knows each packet's type beforehand, and copies the payload's bytes once.
Loop receivingFloor(const std::shared_ptr<const Mix>& mix) {
  struct State {
    Listeners listeners = makeListeners(1);
    std::recursive_mutex lock;
    std::uint8_t payload[1024];
  };
  return repeatOver([mix, state = std::make_shared<State>()](std::size_t at) {
    const std::shared_ptr<HudPacket> packet = mix->types[at].make();
    std::memcpy(state->payload, mix->frames[at].data(), mix->frames[at].size());
    const std::lock_guard lock(state->lock);
    for (const auto& listener : state->listeners) listener->onPacketReceived(packet);
  });
}

}  // namespace

std::vector<Case> mixedCases() {
  const std::shared_ptr<const Mix> mix = makeMix();
  const std::shared_ptr<IHudNetworkImpl> transport = makeTransport();
  const auto network = std::make_shared<Transport>();
  const auto plainNetwork = std::make_shared<reference::Network>(network->packetIdToClassMap());
  const std::shared_ptr<PacketHandleDelegate> listener = makeListeners(1).front();
  network->registerPacketHandleDelegate(listener);
  plainNetwork->registerPacketHandleDelegate(listener);
  return {{.name = "send mixed types",
           .library = repeatOver(
               [mix, network](std::size_t at) { network->sendPacket(*mix->packets[at]); }),
           .floor = repeatOver([mix, transport](std::size_t at) {
             transport->sendPacketImpl(Bytes(mix->frames[at].begin(), mix->frames[at].end()));
           }),
           .reference = repeatOver([mix, transport](std::size_t at) {
             reference::Network::sendPacket(*mix->packets[at], *transport);
           })},
          {.name = "receive mixed types",
           .library = repeatOver(
               [mix, network](std::size_t at) { network->handleRawPacket(mix->frames[at]); }),
           .floor = receivingFloor(mix),
           .reference = repeatOver([mix, plainNetwork](std::size_t at) {
             plainNetwork->handleRawPacket(mix->frames[at]);
           })}};
}

}  // namespace varno::bench
