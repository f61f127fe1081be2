#include "TestSupport.h"

#include <VarnoNetwork/Network/Command/KeepAliveCommandPacket.h>
#include <VarnoNetwork/Network/Command/SystemTimeCommandPacket.h>
#include <VarnoNetwork/Network/EventPacket.h>
#include <VarnoNetwork/Network/PacketCatalogue.h>

#include <gmock/gmock.h>

namespace varno::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Lines = std::vector<std::string>;

const PacketType kKeepAliveType = PacketType::of<KeepAliveCommandPacket>();
const PacketType kTimeType = PacketType::of<SystemTimeCommandPacket>();
const Bytes kTime = bytes("02 7D 7F 01 00 00 00 00 00 00 00 00 05 00 01 5A 03");
constexpr const char* kKeepAliveText = "KeepAliveCommandPacket[]";
constexpr const char* kTimeText = "SystemTimeCommandPacket[timeInMillis : 5 timeZoneId : Z]";

// Packet types of the application.
struct NoteEventPacket : TypedPacket<NoteEventPacket, EventPacket, 0x7D, 0x02> {
  static constexpr std::string_view kTypeName = "NoteEventPacket";
  HudString note;

  std::string description() const override { return describe("%@[note : %@]", note); }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("note", self.note);
  }
};

struct OtherCommandPacket : TypedPacket<OtherCommandPacket, CommandPacket, 15, 0> {
  static constexpr std::string_view kTypeName = "OtherCommandPacket";
};

struct UnmakablePacket : TypedPacket<UnmakablePacket, EventPacket, 0xF0, 0> {
  static constexpr std::string_view kTypeName = "UnmakablePacket";
  UnmakablePacket() { throw std::runtime_error("unmakable"); }
};

struct UnidentifiedPacket : TypedPacket<UnidentifiedPacket, EventPacket, 0xF1, 0> {
  static constexpr std::string_view kTypeName = "UnidentifiedPacket";
  std::uint8_t getParam2() const override { throw 7; }
};

struct PassingEventPacket : TypedPacket<PassingEventPacket, EventPacket, 0xF3, 0> {
  static constexpr std::string_view kTypeName = "PassingEventPacket";
};

// Neither writes nor reads as a packet should.
struct FailingEventPacket : TypedPacket<FailingEventPacket, EventPacket, 0xF2, 0> {
  static constexpr std::string_view kTypeName = "FailingEventPacket";
  void appendPayload(HudOutputStream&) const override { throw std::runtime_error("unwritable"); }
  bool parsePayload(HudInputStream&) override { throw 7; }
};

class Network : public testing::Test {
 protected:
  std::shared_ptr<RecordingListener> listen(const HudPacketFilter& filter) {
    auto listener = std::make_shared<RecordingListener>();
    network.registerPacketHandleDelegate(listener, &filter);
    return listener;
  }
  std::shared_ptr<RecordingListener> listen() {
    auto listener = std::make_shared<RecordingListener>();
    network.registerPacketHandleDelegate(listener);
    return listener;
  }
  // What both frames give the listener.
  Lines received(RecordingListener& listener) {
    network.handleRawPacket(kKeepAlive);
    network.handleRawPacket(kTime);
    return listener.takeDescriptions();
  }

  MainThreadScope mainThread;
  LogCapture log;
  const PacketRegistration<NoteEventPacket> noteType;
  const PacketRegistration<FailingEventPacket> failingType;
  RecordingNetwork network;
};

HudPacketFilter filterOf(std::initializer_list<PacketType> types) {
  HudPacketFilter filter;
  for (const PacketType type : types) filter.addFilter(type);
  return filter;
}

TEST_F(Network, RegistryHoldsTheCatalogueOfItsConstruction) {
  const auto before = network.packetIdToClassMap();
  EXPECT_EQ(before.at(0x037D02).name(), "NoteEventPacket");
  EXPECT_EQ(before.at(0x020F00), kKeepAliveType);
  {
    const PacketRegistration<HudPacket> base;
    const PacketRegistration<CommandPacket> family;
    const PacketRegistration<UnmakablePacket> unmakable;
    const PacketRegistration<UnidentifiedPacket> unidentified;
    const PacketRegistration<NoteEventPacket> again;
    EXPECT_EQ(RecordingNetwork().packetIdToClassMap(), before);
  }
  {
    const PacketRegistration<OtherCommandPacket> duplicate;
    EXPECT_EQ(thrownBy([] { RecordingNetwork(); }),
              "InternalInconsistencyException: Duplicated command[2] param1[15] param2[0] "
              "KeepAliveCommandPacket and OtherCommandPacket");
    EXPECT_EQ(network.packetIdToClassMap(), before);
  }
  std::unique_ptr<RecordingNetwork> keeping;
  {
    const PacketRegistration<PassingEventPacket> passing;
    keeping = std::make_unique<RecordingNetwork>();
  }
  EXPECT_EQ(RecordingNetwork().packetIdToClassMap(), before);
  EXPECT_EQ(network.packetIdToClassMap(), before);
  const auto listener = std::make_shared<RecordingListener>();
  keeping->registerPacketHandleDelegate(listener);
  keeping->handleRawPacket(bytes("02 7D 7E F3 00 03"));
  network.handleRawPacket(bytes("02 7D 7E F3 00 03"));
  EXPECT_THAT(listener->takeDescriptions(), ElementsAre("PassingEventPacket[]"));
}

TEST_F(Network, Frames) {
  constexpr const char* kTooShort = "InvalidArgumentException: RawPacket should be greater than 4.";
  constexpr const char* kUnmarked =
      "InvalidArgumentException: RawPacket should be contained STX and ETX.";
  const std::string outOfBounds(kOutOfBounds);
  const struct {
    const char* frame;
    std::string thrown;
    Lines received;
  } rows[] = {
      {"", kTooShort, {}},
      {"02 01 00 03", kTooShort, {}},
      {"99 99 99 99", kTooShort, {}},
      {"02 01 01 00 02", kUnmarked, {}},
      {"7D 7F 0F 00 03", kUnmarked, {}},
      {"02 7D 00 03 7D 7E", kUnmarked, {}},
      {"02 7D 7F 0F 03", outOfBounds, {}},  // the header lacks a byte
      {"02 7D 7F 0F 7D 03", outOfBounds, {}},
      {"02 7D 7D 7D 03", outOfBounds, {}},
      {"02 09 09 09 03", "", {}},  // unknown
      {"02 7D 03 00 00 03", "", {}},
      {"02 02 02 03 03", "", {}},
      {"02 7D 7F 0F 00 03", "", {kKeepAliveText}},
      {"02 02 0F 00 03", "", {kKeepAliveText}},              // a bare mark is a byte like any other
      {"02 7D 7F 0F 00 02 03 7D 03", "", {kKeepAliveText}},  // what follows the payload
      {"02 7D 7F 01 00 00 00 00 00 00 00 00 05 00 01 5A 03", "", {kTimeText}},
      {"02 7D 7F 01 00 FF FF FF FF FF FF FF 7D 7F 00 01 80 03",
       "",
       {"SystemTimeCommandPacket[timeInMillis : -254 timeZoneId : (null)]"}},
      {"02 7D 7F 01 00 03", "", {}},  // the payload ends too soon
      {"02 7D 7F 01 00 00 00 00 00 00 00 00 05 00 7D 7F 5A 03", "", {}},
      {"02 7D 7E 7D 00 7D 7F 00 7D 7F 7D 7F 5A 03", "", {"NoteEventPacket[note : \x02Z]"}},
      {"02 7D 7E F2 00 03", "int 7", {}},
  };
  const auto listener = listen();
  for (const bool isDumped : {false, true}) {
    network.setDumpReceivePacket(isDumped);
    for (const auto& row : rows) {
      SCOPED_TRACE(row.frame);
      const Bytes frame = bytes(row.frame);
      EXPECT_EQ(thrownBy([&] { network.handleRawPacket(frame); }), row.thrown);
      EXPECT_EQ(listener->takeDescriptions(), row.received);
      const Lines logged = log.take();
      if (isDumped) HudPacket::hexDump("ReceivePacket", frame);
      EXPECT_EQ(logged, log.take());
    }
  }
  expectLockIsFree(network);
}

TEST_F(Network, DumpSwitches) {
  const auto switches = [this] {
    return std::pair(network.dumpSendPacket(), network.dumpReceivePacket());
  };
  EXPECT_EQ(switches(), std::pair(false, false));
  network.setDumpPacket(true, false);
  EXPECT_EQ(switches(), std::pair(true, false));
  network.setDumpPacket(false, true);
  EXPECT_EQ(switches(), std::pair(false, true));
}

TEST_F(Network, Sends) {
  const KeepAliveCommandPacket keepAlive;
  const std::string failed = "sendPacket got exception : ";
  const struct {
    std::function<bool()> transport;
    bool isSent;
    Lines log;
  } rows[] = {
      {[] { return true; }, true, {}},
      {[] { return false; }, false, {}},
      {[]() -> bool { throw HudException("LinkException", "no link\n"); },
       false,
       {failed + "no link\n"}},
      {[]() -> bool { throw std::runtime_error("unplugged"); }, false, {failed + "unplugged"}},
      {[]() -> bool { throw std::bad_alloc(); }, false, {failed + std::bad_alloc().what()}},
      {[]() -> bool { throw 7; }, false, {failed + "unknown exception"}},
  };
  for (const bool isDumped : {false, true}) {
    network.setDumpSendPacket(isDumped);
    for (const auto& row : rows) {
      network.transport = row.transport;
      EXPECT_EQ(network.sendPacket(keepAlive), row.isSent);
      EXPECT_THAT(network.take(), ElementsAre(kKeepAlive));
      Lines expected;
      if (isDumped) {
        expected = {"SendPacket(KeepAliveCommandPacket) Dump start",
                    "0000 02 7D 7F 0F 00 03         .}......",
                    "SendPacket(KeepAliveCommandPacket) Dump end"};
      }
      expected.insert(expected.end(), row.log.begin(), row.log.end());
      EXPECT_EQ(log.take(), expected);
    }
    // What cannot be framed never reaches the transport, nor the dump.
    EXPECT_FALSE(network.sendPacket(CommandPacket()));
    EXPECT_THAT(log.take(), ElementsAre(failed + "Not yet implemented"));
    EXPECT_FALSE(network.sendPacket(FailingEventPacket()));
    EXPECT_FALSE(network.sendPacket(UnidentifiedPacket()));
    EXPECT_THAT(log.take(), ElementsAre(failed + "unwritable", failed + "unknown exception"));
    EXPECT_THAT(network.take(), IsEmpty());
  }
  EXPECT_FALSE(HudNetwork().sendPacket(keepAlive));
  EXPECT_THAT(log.take(), ElementsAre(failed + "Not yet implemented"));
}

TEST_F(Network, ListenersAreRegisteredOnceHoweverOften) {
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

TEST_F(Network, FiltersDecideAtRegistration) {
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

TEST_F(Network, ListenerMapKeepsItsEntries) {
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

TEST_F(Network, ClassMapCanBeReplaced) {
  const auto listener = listen();
  network.setPacketIdToClassMap({{0x020203, kKeepAliveType}, {0x010101, kKeepAliveType}});
  EXPECT_EQ(network.packetIdToClassMap().size(), 2U);
  network.handleRawPacket(bytes("02 02 02 03 03"));
  network.handleRawPacket(bytes("02 01 01 01 03"));
  network.handleRawPacket(kTime);
  EXPECT_THAT(listener->takeDescriptions(), ElementsAre(kKeepAliveText, kKeepAliveText));
  network.setPacketIdToClassMap({});
  network.handleRawPacket(kKeepAlive);
  EXPECT_THAT(listener->take(), IsEmpty());
}

TEST_F(Network, OwnsItsListeners) {
  std::weak_ptr<RecordingListener> first = listen();
  std::weak_ptr<RecordingListener> second = listen();
  EXPECT_EQ(received(*first.lock()).size(), 2U);
  network.unregisterPacketHandleDelegate(first.lock());
  EXPECT_TRUE(first.expired());
  network.setPacketListenerMap({});
  EXPECT_TRUE(second.expired());
}

TEST_F(Network, DeliversWhatItIsGiven) {
  const auto listener = listen(filterOf({kTimeType}));
  const auto packet = std::make_shared<KeepAliveCommandPacket>();
  network.firePacketReceivedEvent(kTimeType, nullptr);
  network.firePacketReceivedEvent(kKeepAliveType, packet);
  network.firePacketReceivedEvent(PacketType::of<HudPacket>(), packet);
  EXPECT_THAT(listener->take(), IsEmpty());
  network.firePacketReceivedEvent(kTimeType, packet);
  EXPECT_THAT(listener->take(), ElementsAre(packet));
}

// What a listener does to the registry while the packet of its own type is delivered. Two listeners
// wait for the packet: the first does it, the second sees whether the delivery went on.
TEST_F(Network, RegistryChangesDuringDelivery) {
  using Change = std::function<void(const std::shared_ptr<RecordingListener>&)>;
  const HudPacketFilter time = filterOf({kTimeType});
  const struct {
    const char* name;
    bool isMutation;
    Change change;
  } rows[] = {
      {"register another", true, [&](const auto&) { listen(time); }},
      {"unregister itself", true,
       [&](const auto& self) { network.unregisterPacketHandleDelegate(self); }},
      {"come and go", true,
       [&](const auto&) { network.unregisterPacketHandleDelegate(listen(time)); }},
      {"replace the map", true, [&](const auto&) { network.setPacketListenerMap({}); }},
      {"register for another type, and receive it", false,
       [&](const auto&) {
         const auto other = listen(filterOf({kKeepAliveType}));
         network.handleRawPacket(kKeepAlive);  // on the main thread the lock is recursive
         EXPECT_THAT(other->takeDescriptions(), ElementsAre(kKeepAliveText));
       }},
      {"register itself again", false,
       [&](const auto& self) { network.registerPacketHandleDelegate(self, &time); }},
      {"unregister a stranger", false,
       [&](const auto&) {
         network.unregisterPacketHandleDelegate(std::make_shared<RecordingListener>());
       }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    network.setPacketListenerMap({});
    int calls = 0;
    std::vector<std::weak_ptr<RecordingListener>> listeners;
    for (int at = 0; at < 2; ++at) {
      const auto listener = listen(time);
      // The network is the only owner; after the change the listener must still be whole.
      listener->action = [&, self = std::weak_ptr(listener), name = std::string(100, 'x')](auto&&) {
        if (++calls == 1) row.change(self.lock());
        EXPECT_EQ(name, std::string(100, 'x'));
      };
      listeners.push_back(listener);
    }
    EXPECT_EQ(thrownBy([&] { network.handleRawPacket(kTime); }), row.isMutation ? kMutated : "");
    EXPECT_EQ(calls, row.isMutation ? 1 : 2);
    EXPECT_EQ(log.take(), Lines());
    expectLockIsFree(network);
    EXPECT_EQ(thrownBy([&] { network.handleRawPacket(kTime); }), "");
  }
}

TEST_F(Network, ListenerExceptionsReachTheCallerOnEitherThread) {
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

}  // namespace
}  // namespace varno::test
