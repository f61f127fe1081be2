#include "Namesake.h"
#include "NetworkFixture.h"

#include <VarnoNetwork/Network/EventPacket.h>
#include <VarnoNetwork/Network/PacketCatalogue.h>

#include <gmock/gmock.h>

namespace varno::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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

// Namesake.cpp has another class of this name.
struct NamesakeEventPacket : TypedPacket<NamesakeEventPacket, EventPacket, 0xF4, 1> {
  static constexpr std::string_view kTypeName = "NamesakeEventPacket";
};

// Neither writes nor reads as a packet should.
struct FailingEventPacket : TypedPacket<FailingEventPacket, EventPacket, 0xF2, 0> {
  static constexpr std::string_view kTypeName = "FailingEventPacket";
  void appendPayload(HudOutputStream&) const override { throw std::runtime_error("unwritable"); }
  bool parsePayload(HudInputStream&) override { throw 7; }
};

// Before the network, in the order of construction.
struct ApplicationTypes {
  const PacketRegistration<NoteEventPacket> noteType;
  const PacketRegistration<FailingEventPacket> failingType;
};

class Network : private ApplicationTypes, public NetworkFixture {};

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
    RecordingNetwork lacking;
    EXPECT_EQ(lacking.packetIdToClassMap(), before);
    Lines told;
    lacking.setDropObserver([&](const PacketDrop& drop) { told.push_back(drop.description()); });
    EXPECT_THAT(told, ElementsAre("HudPacket is left out: Not yet implemented",
                                  "CommandPacket is left out: Not yet implemented",
                                  "UnmakablePacket is left out: unmakable",
                                  "UnidentifiedPacket is left out: unknown exception"));
    EXPECT_EQ(lacking.leftOutTypes().size(), told.size());
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

// Some compilers take the two for one type.
TEST_F(Network, ClassesOfOneNameAreToldApartOrRefused) {
  const auto before = network.packetIdToClassMap().size();
  const PacketRegistration<NamesakeEventPacket> own;
  const PacketRegistration<NamesakeEventPacket> again;
  EXPECT_EQ(RecordingNetwork().packetIdToClassMap().size(), before + 1);
  const std::shared_ptr<void> other = registerNamesake();
  std::size_t held = 0;
  const std::string thrown =
      thrownBy([&] { held = RecordingNetwork().packetIdToClassMap().size(); });
  if (thrown.empty()) {
    EXPECT_EQ(held, before + 2);
  } else {
    EXPECT_EQ(thrown,
              "InternalInconsistencyException: NamesakeEventPacket command[3] param1[244] "
              "param2[1] and NamesakeEventPacket command[3] param1[244] param2[2] are two classes "
              "that cannot be told apart: give each a name of its own");
  }
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

TEST_F(Network, EachFrameIsCountedOnceAndEachDropIsTold) {
  using Counters = HudNetworkCounters;
  network.registerPacketHandleDelegate(std::make_shared<RecordingListener>());
  network.unregisterPacketHandleDelegate(listen());
  HudPacketFilter filter;
  filter.addFilter(kTimeType);
  const auto throwing = std::make_shared<RecordingListener>();
  throwing->action = [](auto&&) { throw 7; };
  network.registerPacketHandleDelegate(throwing, &filter);
  network.setPacketIdToClassMap([this] {
    auto types = network.packetIdToClassMap();
    types.emplace(0x090909, PacketType::of<PassingEventPacket>());  // nobody listens to it
    return types;
  }());
  const struct {
    const char* frame;
    std::uint64_t Counters::*counter;
    const char* told;
  } rows[] = {
      {"02 7D 7F 0F 00 03", &Counters::framesDelivered, ""},
      {"02 09 09 09 03", &Counters::framesUnheard, ""},
      {"02 09 09 08 03", &Counters::framesOfUnknownId,
       "unknown id: command[9] param1[9] param2[8]"},
      {"02 7D 7F 01 00 03", &Counters::framesWithPayloadEnding,
       "SystemTimeCommandPacket: the payload ends inside timeInMillis at byte 5"},
      {"02 7D 7F 01 00 00 00 00 00 00 00 00 05 00 7D 7F 5A 03", &Counters::framesWithPayloadEnding,
       "SystemTimeCommandPacket: the payload ends inside timeZoneId at byte 17"},
      {"02 7D 7E 7D 7F 7D 7E 00 03", &Counters::framesWithPayloadEnding,
       "BluetoothDeviceFoundEventPacket: the payload ends inside soundDevice.name at byte 8"},
      {"02 7D 7E 05 00 00 01 41 03", &Counters::framesWithPayloadRefused,
       "HudVersionEventPacket: the payload is refused"},
      {"02 7D 7F 09 08 01 00 00 00 00 00 00 00 00 00 00 00 01 00 01 80 03",
       &Counters::framesWithPayloadRefused,
       "DisplayNotificationSettingCommandPacket: the payload is refused at packageNameSet"},
      {"02 01 01 00 02", &Counters::framesMalformed, ""},
      {"02 01 01 03", &Counters::framesMalformed, ""},
      {"02 7D 7F 0F 03", &Counters::framesMalformed, ""},
      {"02 7D 7E F2 00 03", &Counters::framesFailed, ""},  // its parser throws
      {"02 7D 7F 01 00 00 00 00 00 00 00 00 05 00 01 5A 03", &Counters::framesFailed, ""},
  };
  Counters before;
  for (const bool isThrowing : {false, true}) {
    for (const auto& row : rows) {
      SCOPED_TRACE(row.frame);
      const Bytes frame = bytes(row.frame);
      std::string told;
      network.setDropObserver([&](const PacketDrop& drop) {
        told = drop.description();
        EXPECT_EQ(drop.frame.data(), frame.data());
        EXPECT_EQ(drop.type.has_value(), drop.reason != PacketDrop::Reason::kUnknownId);
        network.setDropObserver(nullptr);
        if (isThrowing) throw std::runtime_error("observed");
      });
      const std::string thrown = thrownBy([&] { network.handleRawPacket(frame); });
      EXPECT_EQ(told, row.told);
      EXPECT_EQ(thrown == "observed", isThrowing && !told.empty());
      const Counters after = network.counters();
      EXPECT_EQ(after.*row.counter, before.*row.counter + 1);
      EXPECT_EQ(after.framesReceived(), before.framesReceived() + 1);
      before = after;
    }
  }
  network.setDropObserver(nullptr);
  network.handleRawPacket(bytes("02 09 09 08 03"));
  EXPECT_EQ(network.counters().framesDropped(), before.framesDropped() + 1);
}

TEST_F(Network, CountsAreExactWhileManyThreadsWork) {
  constexpr std::uint64_t kRounds = 2'000;
  constexpr std::uint64_t kThreads = 4;
  network.transport = [] { return true; };
  std::vector<std::thread> threads;
  for (std::uint64_t at = 0; at < kThreads; ++at) {
    threads.emplace_back([this] {
      for (std::uint64_t round = 0; round < kRounds; ++round) {
        network.sendPacket(KeepAliveCommandPacket());
        network.handleRawPacket(kKeepAlive);
        network.handleRawPacket(bytes("02 09 09 09 03"));
        EXPECT_LE(network.counters().packetsSent, kThreads * kRounds);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  const HudNetworkCounters counters = network.counters();
  EXPECT_EQ(counters.packetsSent, kThreads * kRounds);
  EXPECT_EQ(counters.framesUnheard, kThreads * kRounds);
  EXPECT_EQ(counters.framesOfUnknownId, kThreads * kRounds);
  EXPECT_EQ(counters.framesReceived(), 2 * kThreads * kRounds);
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
  EXPECT_EQ(network.counters().packetsSent, 2U);
  EXPECT_EQ(network.counters().packetsFailed, 2 * (std::size(rows) - 1 + 3));
  EXPECT_FALSE(HudNetwork().sendPacket(keepAlive));
  EXPECT_THAT(log.take(), ElementsAre(failed + "Not yet implemented"));
}

// A transport that looks at the frame where it lies, or leaves it to sendPacketImpl.
TEST_F(Network, SendsWhatItLends) {
  class LendingNetwork : public RecordingNetwork {
   public:
    std::function<std::optional<bool>()> answer;
    Bytes lent;

   private:
    std::optional<bool> sendBorrowedFrame(std::span<const std::uint8_t> frame) override {
      lent.assign(frame.begin(), frame.end());
      return answer();
    }
  };
  const struct {
    std::function<std::optional<bool>()> answer;
    bool isSent;
    bool isHandedOver;
    std::vector<std::string> lines;
  } rows[] = {
      {[] { return true; }, true, false, {}},
      {[] { return false; }, false, false, {}},
      {[] { return std::nullopt; }, true, true, {}},
      {[]() -> std::optional<bool> { throw std::runtime_error("cut"); },
       false,
       false,
       {"sendPacket got exception : cut"}},
  };
  for (const std::size_t length : {0U, 900U, 30'000U}) {
    SystemTimeCommandPacket packet;
    packet.setTimeZoneId(std::string(length, '}'));
    for (const auto& row : rows) {
      SCOPED_TRACE(std::to_string(length) + " bytes, row " + std::to_string(&row - rows));
      LendingNetwork lending;
      lending.answer = row.answer;
      EXPECT_EQ(lending.sendPacket(packet), row.isSent);
      EXPECT_EQ(lending.lent, frameOf(packet));
      EXPECT_EQ(lending.take(), std::vector<Bytes>(row.isHandedOver ? 1 : 0, frameOf(packet)));
      EXPECT_EQ(log.take(), row.lines);
    }
  }
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

}  // namespace
}  // namespace varno::test
