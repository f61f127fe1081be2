#include "NetworkFixture.h"

#include <VarnoNetwork/Network/EventPacket.h>
#include <VarnoNetwork/Network/PacketCatalogue.h>

#include <stdexcept>

namespace varno::test {
namespace {

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

struct UnheardEventPacket : TypedPacket<UnheardEventPacket, EventPacket, 0xF5, 0> {
  static constexpr std::string_view kTypeName = "UnheardEventPacket";
};

// Its parser throws.
struct FailingEventPacket : TypedPacket<FailingEventPacket, EventPacket, 0xF2, 0> {
  static constexpr std::string_view kTypeName = "FailingEventPacket";
  bool parsePayload(HudInputStream&) override { throw 7; }
};

// A base class, so that it is constructed before the network.
struct ApplicationTypes {
  const PacketRegistration<NoteEventPacket> noteType;
  const PacketRegistration<FailingEventPacket> failingType;
};

class Network : private ApplicationTypes, public NetworkFixture {};

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
  auto types = network.packetIdToClassMap();
  types.emplace(0x090909, PacketType::of<UnheardEventPacket>());
  network.setPacketIdToClassMap(types);
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

}  // namespace
}  // namespace varno::test
