#include "tests/display/DisplaySupport.h"

#include <VarnoNetwork/Network/PacketCatalogue.h>
#include <VarnoNetwork/Network/PacketTypes.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace varno::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// What the history tells, but for what came in.
Desk::Lines sentLines(const SimulatedDisplay& display) {
  Desk::Lines lines;
  for (const TrafficRecord& record : display.history().records()) {
    if (record.direction != Direction::kToDisplay) lines.push_back(notationOf(record));
  }
  return lines;
}

TEST(SimulatedDisplay, AnswersInItsOwnTime) {
  const struct {
    const char* packet;
    DisplayAnswer answer;
    Desk::Lines answers;
  } rows[] = {
      {"BluetoothDisable",
       DisplayAnswer::kBluetoothStatus,
       {"(0.200000000) < BluetoothStatusEventPacket statusType=0"}},
      {"BluetoothScan enable=true",
       DisplayAnswer::kDevicesFound,
       {"(0.700000000) < BluetoothDeviceFoundEventPacket soundDevice.name=\"Headset\" "
        "soundDevice.address=\"00:00:5E:00:53:01\" soundDevice.isConnected=false",
        "(1.400000000) < BluetoothDeviceFoundEventPacket soundDevice.name=\"Car speaker\" "
        "soundDevice.address=\"00:00:5E:00:53:02\" soundDevice.isConnected=false"}},
      {"BluetoothScan enable=false", DisplayAnswer::kDevicesFound, {}},
      {"BluetoothPairingCommand pairingType=1 soundDeviceAddress=A pairingKey=0000",
       DisplayAnswer::kPairing,
       {"(1.500000000) < BluetoothPairingEventPacket soundDeviceAddress=\"A\" pairingType=1"}},
      {"BluetoothConnectionCommand address=A isConnectionRequired=true",
       DisplayAnswer::kConnection,
       {"(0.900000000) < BluetoothConnectionEventPacket soundDevice.name=\"\" "
        "soundDevice.address=\"A\" soundDevice.isConnected=true event=1"}},
      {"WifiStationMode ssid=Garage",
       DisplayAnswer::kWifiStatus,
       {"(2.000000000) < WifiStationStatusEventPacket eventType=1 errorMessage=\"\" "
        "ipAddress=\"192.0.2.17\""}},
      {"WifiStationMode",
       DisplayAnswer::kWifiStatus,
       {"(2.000000000) < WifiStationStatusEventPacket eventType=2 "
        "errorMessage=\"no network is named\" ipAddress=\"\""}},
      {"UartConnectionCheck",
       DisplayAnswer::kLineCheck,
       {"(0.020000000) < UartConnectionEventPacket"}},
      {"SoftwareUpdateCommand size=8000000",
       DisplayAnswer::kUpdate,
       {"(0.500000000) < SoftwareUpdateEventPacket"}},
      {"HudDisconnect", DisplayAnswer::kHangUp, {"(0.100000000) link down # the display hung up"}},
      {"HudReset", DisplayAnswer::kRestart, {"(0.300000000) link down # the display hung up"}},
  };
  for (const auto& row : rows) {
    for (const bool isOn : {true, false}) {
      SCOPED_TRACE(row.packet);
      Desk desk({.switchedOff = {DisplayAnswer::kVersion, DisplayAnswer::kKeepAliveWatch}});
      desk.display.setAnswer(row.answer, isOn);
      desk.receive(row.packet);
      desk.pass(seconds(60));
      Desk::Lines expected = {"(0.000000000) link up"};
      if (isOn) expected.insert(expected.end(), row.answers.begin(), row.answers.end());
      EXPECT_EQ(sentLines(desk.display), expected);
      EXPECT_FALSE(desk.display.nextDue());
    }
  }
}

TEST(SimulatedDisplay, TellsAVersionThatCanBeRead) {
  Desk desk;
  desk.pass(seconds(1));
  const auto versions = desk.display.sent<HudVersionEventPacket>();
  ASSERT_EQ(versions.size(), 1U);
  EXPECT_EQ(versions[0].modelName(), "HUD");
  EXPECT_EQ(versions[0].systemVersion(), "2.1");
  EXPECT_EQ(versions[0].bleVersion(), "1.4");
}

TEST(SimulatedDisplay, GoesThroughAnUpdateAndFailsItWithTheLink) {
  Desk desk;
  const DeviceView& device = desk.display.state().device;
  desk.receive("SoftwareUpdateCommand size=8000000");
  EXPECT_EQ(device.update, "waiting");
  desk.pass(milliseconds(1'500));
  EXPECT_EQ(device.update, "running");
  EXPECT_EQ(device.updatePercent, 50);
  desk.pass(seconds(1));
  EXPECT_EQ(device.update, "done");
  desk.receive("SoftwareUpdateCommand size=9223372036854775807");
  desk.pass(seconds(1));
  desk.display.linkDown("cable");
  EXPECT_EQ(device.update, "failed");
  EXPECT_FALSE(desk.display.nextDue());
}

TEST(SimulatedDisplay, NotesWhereKeepAlivesAreMissing) {
  Desk desk({.switchedOff = {DisplayAnswer::kVersion}});
  const LinkView& link = desk.display.state().link;
  desk.receive("KeepAlive");
  EXPECT_TRUE(link.isPhoneAlive);
  desk.pass(milliseconds(9'999));
  desk.receive("KeepAlive");
  desk.pass(milliseconds(9'999));
  EXPECT_TRUE(link.isPhoneAlive);
  desk.pass(milliseconds(10'001));
  EXPECT_FALSE(link.isPhoneAlive);
  EXPECT_EQ(link.missedKeepAlives, 2);
  EXPECT_EQ(sentLines(desk.display).back(), "(29.999000000) note # no keep-alive for 10000 ms");
}

TEST(SimulatedDisplay, AHandlerMayAnswerInItsPlaceOrEndTheLinkInTheMiddle) {
  ManualClock clock;
  SimulatedDisplay display(clock);
  int outputs = 0;
  display.setHandlers({.onOutput = [&](auto) { ++outputs; },
                       .onHangUp = {},
                       .onFrame =
                           [&](auto, const std::shared_ptr<HudPacket>& packet) {
                             if (packet->typeName() == "KeepAliveCommandPacket") {
                               display.disconnect();
                             } else {
                               display.send(UartConnectionEventPacket());
                             }
                             return true;
                           },
                       .onChange = {},
                       .onRecord = {}});
  display.linkUp();
  Bytes stream = frameOf(UartConnectionCheckCommandPacket());
  for (int count = 0; count < 2; ++count) {
    stream.insert(stream.end(), kKeepAlive.begin(), kKeepAlive.end());
  }
  display.receive(stream);
  EXPECT_EQ(outputs, 1);
  EXPECT_FALSE(display.isUp());
  EXPECT_EQ(display.received<KeepAliveCommandPacket>().size(), 1U);
  EXPECT_FALSE(display.nextDue());
  display.send(UartConnectionEventPacket());  // nobody is there
  EXPECT_EQ(outputs, 1);
}

// What came in, and what it did, of random traffic with faults in both directions.
std::string transcriptOf(std::size_t chunkSize, std::uint64_t seed) {
  const LogCapture log;  // of what is read as a version
  Desk desk({.maxHistory = 100'000, .seed = seed});
  NotationError error;
  for (const char* const text : {"corrupt chance=0.2", "drop chance=0.1", "tear chance=0.1"}) {
    desk.display.fault(Direction::kToDisplay, *faultFromText(text, error));
    desk.display.fault(Direction::kToPhone, *faultFromText(text, error));
  }
  desk.display.fault(Direction::kToPhone, *faultFromText("latency delay=50ms jitter=40ms", error));
  std::mt19937 random(7);
  const std::vector<PacketType> types = PacketCatalogue::packetTypes();
  for (int round = 0; round < 200; ++round) {
    const Bytes frame = frameOf(*types[random() % types.size()].make());
    for (std::size_t at = 0; at < frame.size(); at += chunkSize) {
      desk.display.receive(
          std::span(frame).subspan(at).first(std::min(chunkSize, frame.size() - at)));
    }
    desk.pass(milliseconds(random() % 400));
    if (!desk.display.isUp()) desk.display.linkUp();
  }
  std::string text;
  for (const TrafficRecord& record : desk.display.history().records()) {
    text += notationOf(record, Secrets::kShown) + "\n";
  }
  for (const std::string& line : desk.changes) text += line + "\n";
  return text + hex(desk.output);
}

TEST(SimulatedDisplay, TheSameInputAtTheSameTimesDoesTheSame) {
  const std::string once = transcriptOf(1'000'000, 3);
  EXPECT_GT(once.size(), 20'000U);
  EXPECT_EQ(transcriptOf(1'000'000, 3), once);
  EXPECT_EQ(transcriptOf(1, 3), once);  // nor does it matter in which pieces it comes
  EXPECT_NE(transcriptOf(1'000'000, 4), once);
}

}  // namespace
}  // namespace varno::test
