#include "NetworkFixture.h"

#include <VarnoNetwork/Network/EventPacket.h>
#include <VarnoNetwork/Network/MainThreadDelivery.h>

#include <gmock/gmock.h>

namespace varno::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ListenerTest : public NetworkFixture {};

HudPacketFilter filterOf(std::initializer_list<PacketType> types) {
  HudPacketFilter filter;
  for (const PacketType type : types) filter.addFilter(type);
  return filter;
}

TEST_F(ListenerTest, ListenersAreRegisteredOnceHoweverOften) {
  const auto listener = listen();
  network.registerPacketHandleDelegate(listener);
  const HudPacketFilter filter = filterOf({kTimeType});
  network.registerPacketHandleDelegate(listener, &filter);
  network.registerPacketHandleDelegate(nullptr);
  network.registerPacketHandleDelegate(nullptr, &filter);
  network.unregisterPacketHandleDelegate(nullptr);
  network.unregisterPacketHandleDelegate(std::make_shared<RecordingListener>());
  EXPECT_THAT(received(*listener), ElementsAre(kKeepAliveText, kTimeText));
  network.unregisterPacketHandleDelegate(listener);
  EXPECT_THAT(received(*listener), IsEmpty());
}

TEST_F(ListenerTest, FiltersDecideAtRegistration) {
  HudPacketFilter filter;
  EXPECT_FALSE(filter.addFilter(kTimeType));
  EXPECT_FALSE(filter.addFilter(std::nullopt));
  EXPECT_FALSE(filter.addFilter<EventPacket>());
  EXPECT_FALSE(filter.addFilter<std::string>());
  const auto bases = filterOf({PacketType::of<CommandPacket>(), PacketType::of<HudPacket>()});
  EXPECT_THAT(filter.acceptablePacketSet(),
              testing::UnorderedElementsAre(kTimeType, PacketType::of<EventPacket>()));
  EXPECT_TRUE(filter.accept(kTimeType));
  EXPECT_FALSE(filter.accept(kKeepAliveType));
  EXPECT_FALSE(filter.accept(std::nullopt));

  const auto timeOnly = listen(filter);
  const auto nothing = listen(bases);
  network.registerPacketHandleDelegate(nothing, nullptr);
  filter.setAcceptablePacketSet({kKeepAliveType});
  EXPECT_THAT(received(*timeOnly), ElementsAre(kTimeText));
  EXPECT_THAT(nothing->take(), IsEmpty());

  network.registerPacketHandleDelegate(timeOnly, &filter);
  EXPECT_THAT(received(*timeOnly), ElementsAre(kKeepAliveText, kTimeText));
}

TEST_F(ListenerTest, ListenerMapKeepsItsEntries) {
  EXPECT_THAT(network.packetListenerMap(), IsEmpty());
  std::shared_ptr<PacketHandleDelegate> listener = listen(filterOf({kTimeType}));
  const HudNetwork::PacketListenerMap one = {{kTimeType, {listener}}};
  EXPECT_EQ(network.packetListenerMap(), one);
  network.unregisterPacketHandleDelegate(listener);
  EXPECT_EQ(network.packetListenerMap(), (HudNetwork::PacketListenerMap{{kTimeType, {}}}));
  network.registerPacketHandleDelegate(listener);
  HudNetwork::PacketListenerMap all;
  for (const auto& [id, type] : network.packetIdToClassMap()) all[type] = {listener};
  EXPECT_EQ(network.packetListenerMap(), all);

  network.setPacketListenerMap(one);
  EXPECT_EQ(network.packetListenerMap(), one);
  EXPECT_THAT(received(static_cast<RecordingListener&>(*listener)), ElementsAre(kTimeText));
  network.setPacketListenerMap({{kKeepAliveType, {nullptr}}});
  network.handleRawPacket(kKeepAlive);
}

TEST_F(ListenerTest, OwnsItsListeners) {
  std::weak_ptr<RecordingListener> first = listen();
  std::weak_ptr<RecordingListener> second = listen();
  EXPECT_EQ(received(*first.lock()).size(), 2U);
  network.unregisterPacketHandleDelegate(first.lock());
  EXPECT_TRUE(first.expired());
  network.setPacketListenerMap({});
  EXPECT_TRUE(second.expired());
}

TEST_F(ListenerTest, DeliversWhatItIsGiven) {
  const auto listener = listen(filterOf({kTimeType}));
  const auto packet = std::make_shared<KeepAliveCommandPacket>();
  network.firePacketReceivedEvent(kTimeType, nullptr);
  network.firePacketReceivedEvent(kKeepAliveType, packet);
  network.firePacketReceivedEvent(PacketType::of<HudPacket>(), packet);
  EXPECT_THAT(listener->take(), IsEmpty());
  network.firePacketReceivedEvent(kTimeType, packet);
  EXPECT_THAT(listener->take(), ElementsAre(packet));
}

// What a listener does to the registry while a packet of its own type is delivered. Two listeners
// are registered: the first one does it, the second one shows whether the delivery went on. That of
// a MainThreadDelivery does, unless the second one was removed.
TEST_F(ListenerTest, RegistryChangesDuringDelivery) {
  using Change = std::function<void(const std::shared_ptr<RecordingListener>&)>;
  MainThreadDelivery delivery(network);
  const HudPacketFilter time = filterOf({kTimeType});
  const struct {
    const char* name;
    bool isMutation;
    int steadyCalls;
    Change change;
  } rows[] = {
      {"register another", true, 2, [&](const auto&) { listen(time); }},
      {"unregister itself", true, 2,
       [&](const auto& self) { network.unregisterPacketHandleDelegate(self); }},
      {"come and go", true, 2,
       [&](const auto&) { network.unregisterPacketHandleDelegate(listen(time)); }},
      {"replace the map", true, 1, [&](const auto&) { network.setPacketListenerMap({}); }},
      {"register for another type, and receive it", false, 2,
       [&](const auto&) {
         const auto other = listen(filterOf({kKeepAliveType}));
         network.handleRawPacket(kKeepAlive);  // on the main thread the lock is recursive
         EXPECT_THAT(other->takeDescriptions(), ElementsAre(kKeepAliveText));
       }},
      {"register itself again", false, 2,
       [&](const auto& self) { network.registerPacketHandleDelegate(self, &time); }},
      {"unregister a stranger", false, 2,
       [&](const auto&) {
         network.unregisterPacketHandleDelegate(std::make_shared<RecordingListener>());
       }},
  };
  for (std::size_t at = 0; at < 2 * std::size(rows); ++at) {
    const auto& row = rows[at / 2];
    const bool isSteady = at % 2 == 1;
    SCOPED_TRACE(std::string(row.name) + (isSteady ? ", as of a link" : ""));
    network.setPacketListenerMap({});
    int calls = 0;
    std::vector<std::weak_ptr<RecordingListener>> listeners;
    for (int count = 0; count < 2; ++count) {
      const auto listener = listen(time);
      // The network is the only owner; after the change the listener must still be whole.
      listener->action = [&, self = std::weak_ptr(listener), name = std::string(100, 'x')](auto&&) {
        if (++calls == 1) row.change(self.lock());
        EXPECT_EQ(name, std::string(100, 'x'));
      };
      listeners.push_back(listener);
    }
    const auto handle = [&] {
      isSteady ? static_cast<void>(delivery.handle(kTime)) : network.handleRawPacket(kTime);
    };
    EXPECT_EQ(thrownBy(handle), row.isMutation && !isSteady ? kMutated : "");
    EXPECT_EQ(calls, isSteady ? row.steadyCalls : row.isMutation ? 1 : 2);
    EXPECT_EQ(log.take(), Lines());
    expectLockIsFree(network);
    EXPECT_EQ(thrownBy(handle), "");
  }
}

TEST_F(ListenerTest, ListenerExceptionsReachTheCallerOnEitherThread) {
  const std::pair<std::function<void()>, const char*> rows[] = {
      {[] { throw HudException("OwnException", "refused"); }, "OwnException: refused"},
      {[] { throw std::runtime_error("broken"); }, "broken"},
      {[] { throw 7; }, "int 7"},
      {[] {}, ""}};
  const auto first = listen();
  const auto second = listen();
  for (const bool isOnMainThread : {true, false}) {
    for (const auto& [action, thrown] : rows) {
      first->action = second->action = [action = action](auto&&) { action(); };
      std::string seen;
      const auto receive = [&] { seen = thrownBy([&] { network.handleRawPacket(kTime); }); };
      isOnMainThread ? receive() : mainThread.pumpWhile(receive);
      EXPECT_EQ(seen, thrown);
      EXPECT_EQ(first->take().size() + second->take().size(), seen.empty() ? 2U : 1U);
      expectLockIsFree(network);
    }
  }
}

TEST_F(ListenerTest, KeepThePacketWhateverTheyDoToTheCallersPointer) {
  std::shared_ptr<HudPacket> packet = std::make_shared<SystemTimeCommandPacket>();
  const std::string text = packet->description();
  const auto first = listen();
  const auto second = listen();
  first->action = second->action = [&](const std::shared_ptr<HudPacket>& received) {
    first->take();
    packet.reset();
    EXPECT_EQ(received->description(), text);
  };
  network.firePacketReceivedEvent(kTimeType, packet);
  EXPECT_EQ(second->take().size(), 1U);
}

// On the main thread, while the thread whose frame is delivered waits there with the listener lock.
TEST_F(ListenerTest, MapsAreReadAndReplacedDuringADeliveryFromAnotherThread) {
  const struct {
    const char* name;
    bool isMutation;
    std::function<void()> action;
  } rows[] = {
      {"read", false, [&] { EXPECT_EQ(network.packetListenerMap().at(kTimeType).size(), 2U); }},
      {"replace the classes", false,
       [&] {
         network.setPacketIdToClassMap(network.packetIdToClassMap());
         network.setPacketIdToClassMap(network.packetIdToClassMap());
       }},
      {"replace the listeners twice", true,
       [&] {
         network.setPacketListenerMap({});
         EXPECT_THAT(network.packetListenerMap(), IsEmpty());
         const auto late = std::make_shared<RecordingListener>();
         network.setPacketListenerMap({{kTimeType, {late}}});
         EXPECT_THAT(network.packetListenerMap(),
                     ElementsAre(std::pair(kTimeType, HudNetwork::ListenerSet{late})));
       }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    network.setPacketListenerMap({});
    const std::weak_ptr<RecordingListener> first = listen();
    const std::weak_ptr<RecordingListener> second = listen();
    int calls = 0;
    first.lock()->action = second.lock()->action = [&](auto&&) {
      if (++calls == 1) row.action();
    };
    std::string seen;
    mainThread.pumpWhile([&] { seen = thrownBy([&] { network.handleRawPacket(kTime); }); });
    EXPECT_EQ(seen, row.isMutation ? kMutated : "");
    EXPECT_EQ(calls, row.isMutation ? 1 : 2);
    EXPECT_EQ(first.expired(), row.isMutation);
    EXPECT_EQ(second.expired(), row.isMutation);
    EXPECT_EQ(network.packetListenerMap().at(kTimeType).size(), row.isMutation ? 1U : 2U);
    expectLockIsFree(network);
  }
}

// For the thread sanitizer.
TEST_F(ListenerTest, MapsAreReadAndReplacedWhileFramesAreHandled) {
  const auto listener = listen();
  const auto map = network.packetListenerMap();
  const auto types = network.packetIdToClassMap();
  constexpr int kRounds = 100;
  const auto work = [&](auto action) {
    return std::async(std::launch::async, [action] {
      for (int round = 0; round < kRounds; ++round) action();
    });
  };
  std::string unexpected;
  mainThread.pumpWhile([&] {
    const auto handling = work([&] {
      const std::string thrown = thrownBy([&] { network.handleRawPacket(kTime); });
      if (!thrown.empty() && thrown != kMutated) unexpected = thrown;
    });
    const auto replacing = work([&] { network.setPacketListenerMap(map); });
    const auto changing = work([&] { network.setPacketIdToClassMap(types); });
    const auto reading = work([&] { EXPECT_EQ(network.packetListenerMap(), map); });
    const auto coming = work([&] {
      const auto guest = std::make_shared<RecordingListener>();
      network.unregisterPacketHandleDelegate(guest);
    });
  });
  EXPECT_EQ(unexpected, "");
  EXPECT_EQ(network.packetListenerMap(), map);
  listener->take();
  network.handleRawPacket(kTime);
  EXPECT_EQ(listener->take().size(), 1U);
}

// Whose destructor uses the network once more.
struct PartingListener : RecordingListener {
  ~PartingListener() override { parting(); }
  std::function<void()> parting;
};

TEST_F(ListenerTest, DestructorsOfListenersMayUseTheNetworkThatReleasesThem) {
  auto own = std::make_unique<RecordingNetwork>();
  HudNetwork& whole = *own;
  std::weak_ptr<RecordingListener> late;
  int partings = 0;
  std::vector<std::weak_ptr<PartingListener>> listeners;
  for (int at = 0; at < 3; ++at) {
    const auto listener = std::make_shared<PartingListener>();
    whole.registerPacketHandleDelegate(listener);
    listeners.push_back(listener);
    listener->parting = [&] {
      ++partings;
      for (const auto& other : listeners) whole.unregisterPacketHandleDelegate(other.lock());
      const auto recording = std::make_shared<RecordingListener>();
      late = recording;
      whole.registerPacketHandleDelegate(recording);
      whole.setPacketListenerMap({{kTimeType, {recording}}});
      whole.handleRawPacket(kTime);
      EXPECT_THAT(recording->take(), IsEmpty());
      EXPECT_EQ(whole.packetListenerMap().at(kTimeType).count(recording), 0U);
    };
  }
  own.reset();
  EXPECT_EQ(partings, 3);
  EXPECT_TRUE(late.expired());
}

}  // namespace
}  // namespace varno::test
