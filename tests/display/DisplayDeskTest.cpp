#include "tests/display/DisplaySupport.h"

#include <VarnoDisplay/DisplayDesk.h>
#include <VarnoDisplay/TestPrinters.h>
#include <VarnoNetwork/VarnoNetwork.h>

#include <gtest/gtest.h>

#include <stdexcept>

namespace varno::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// An application: joins a network when it knows the display, and again when that failed; sends
// keep-alives.
class Application {
 public:
  explicit Application(DisplayDesk& desk) : desk_(desk), network_(desk) {
    version_ = router_->on<HudVersionEventPacket>([this](const auto&) { join(); });
    status_ = router_->on<WifiStationStatusEventPacket>([this](const auto& status) {
      address = status.ipAddress().value_or("");
      if (address.empty()) join();
    });
    network_.registerPacketHandleDelegate(router_);
  }

  void keepAlive() { network_.sendPacket(KeepAliveCommandPacket()); }
  void comeBack() { desk_.connect(network_); }

  std::string address;
  int joins = 0;

 private:
  void join() {
    ++joins;
    WifiStationModeCommandPacket station;
    station.setSsid("Garage");
    station.setPassword("not-a-real-password");
    network_.sendPacket(station);
  }

  DisplayDesk& desk_;
  DeskNetwork network_;
  const std::shared_ptr<PacketRouter> router_ = std::make_shared<PacketRouter>();
  PacketRouter::Subscription version_;
  PacketRouter::Subscription status_;
};

Fault faultFrom(const char* text) {
  NotationError error;
  return faultFromText(text, error).value();
}

TEST(DisplayDesk, AnApplicationJoinsWhateverHappensOnTheLine) {
  const MainThreadScope mainThread;
  DisplayDesk desk;
  Application application(desk);
  SimulatedDisplay& display = desk.display();

  // The version breaks off, and the display hangs up.
  display.fault(Direction::kToPhone, faultFrom("tear bytes=9 count=1"));
  desk.pass(milliseconds(500));
  EXPECT_EQ(application.joins, 0);
  display.disconnect();
  EXPECT_FALSE(desk.isUp());

  // It comes back, with noise, and then all of it in single bytes.
  application.comeBack();
  display.fault(Direction::kToPhone, faultFrom("slicer size=1 delay=1ms"));
  display.sendBytes(bytes("FF 03 41"));
  EXPECT_TRUE(desk.passUntil([&] { return !application.address.empty(); }, seconds(10)));
  EXPECT_EQ(application.address, "192.0.2.17");

  // What the display sees, by type and field.
  WifiStationModeCommandPacket expected;
  expected.setSsid("Garage");
  expected.setPassword("not-a-real-password");
  EXPECT_EQ(display.received<WifiStationModeCommandPacket>(), std::vector{expected});
  EXPECT_EQ(display.state().wifi.ssid, "Garage");

  // Ten seconds without keep-alives are noticed, nine are not.
  desk.pass(seconds(8));
  EXPECT_EQ(display.state().link.missedKeepAlives, 1);
  application.keepAlive();
  desk.pass(seconds(9));
  EXPECT_TRUE(display.state().link.isPhoneAlive);
}

TEST(DisplayDesk, WhatWasSentBeforeHangingUpArrivesAndAResetLosesIt) {
  const MainThreadScope mainThread;
  DisplayDesk desk;
  DeskNetwork network(desk);
  const auto listener = std::make_shared<RecordingListener>();
  network.registerPacketHandleDelegate(listener);
  for (const HangUp how : {HangUp::kClose, HangUp::kReset}) {
    desk.connect(network);
    desk.display().send(UartConnectionEventPacket());
    desk.display().disconnect(how);
    EXPECT_FALSE(network.sendPacket(KeepAliveCommandPacket()));
    desk.pump();
    EXPECT_EQ(listener->take().size(), how == HangUp::kClose ? 1U : 0U);
  }
  desk.connect(network);
  EXPECT_TRUE(network.sendPacket(HudDisconnectCommandPacket()));
  desk.disconnect();
  EXPECT_EQ(desk.display().received<HudDisconnectCommandPacket>().size(), 1U);
}

TEST(DisplayDesk, AnApplicationIsStartedAnewAndWaitsForever) {
  const MainThreadScope mainThread;
  DisplayDesk desk;
  auto network = std::make_unique<DeskNetwork>(desk);
  network = std::make_unique<DeskNetwork>(desk);
  EXPECT_TRUE(desk.isUp());
  const LinkView& link = desk.display().state().link;
  EXPECT_TRUE(desk.passUntil([&] { return link.missedKeepAlives > 0; }, LinkTime::duration::max()));
}

TEST(DisplayDesk, AListenerMaySendThrowHangUpAndUnregister) {
  const MainThreadScope mainThread;
  DisplayDesk desk({.switchedOff = {DisplayAnswer::kVersion}});
  DeskNetwork network(desk);
  const auto listener = std::make_shared<RecordingListener>();
  network.registerPacketHandleDelegate(listener);
  listener->action = [&](const auto&) {
    network.sendPacket(KeepAliveCommandPacket());
    throw std::runtime_error("no");
  };
  desk.display().send(UartConnectionEventPacket());
  desk.display().sendBytes(bytes("02 7D 7F 0F 7D 03"));  // malformed
  EXPECT_EQ(thrownBy([&] { desk.pump(); }), "no");
  desk.pump();
  EXPECT_EQ(desk.refusedFrames(), 1U);
  EXPECT_TRUE(desk.display().state().link.isPhoneAlive);
  listener->action = [&](const auto&) {
    network.unregisterPacketHandleDelegate(listener);
    desk.disconnect();
  };
  desk.display().send(UartConnectionEventPacket());
  desk.display().send(UartConnectionEventPacket());
  desk.pump();
  EXPECT_EQ(listener->take().size(), 2U);
  EXPECT_FALSE(desk.display().isUp());
}

TEST(PacketComparison, PacketsAreEqualByTypeAndFields) {
  const struct {
    const char* left;
    const char* right;
    bool areEqual;
  } rows[] = {
      {"KeepAlive", "KeepAlive", true},
      {"KeepAlive", "HudDisconnect", false},
      {"KeyStone keyStone=nan", "KeyStone keyStone=nan", true},
      {"KeyStone keyStone=nan", "KeyStone keyStone=nan(0x7FC00001)", false},
      {"KeyStone keyStone=0", "KeyStone keyStone=-0", false},
      {"SocialNotification title=\"\"", "SocialNotification title=null", false},
      {"SocialNotification title=a message=b", "SocialNotification title=ab message=\"\"", false},
      {"SocialNotification title=a", "MusicNotification title=a", false},
      {"BluetoothDeviceFound soundDevice.name=a", "BluetoothDeviceFound soundDevice.name=a", true},
      {"BluetoothDeviceFound soundDevice.name=a", "BluetoothDeviceFound soundDevice.address=a",
       false},
      {"DisplayNotificationSetting packageNameSet=[a,b]",
       "DisplayNotificationSetting packageNameSet=[b,a]", true},
      {"DisplayNotificationSetting packageNameSet=[a,b]",
       "DisplayNotificationSetting packageNameSet=[ab]", false},
      {"HudVersion modelName=a", "HudVersion modelName=b", false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(*packetFrom(row.left) == *packetFrom(row.right), row.areEqual)
        << row.left << " | " << row.right;
  }
}

TEST(TestPrinters, PrintFieldsAndNoSecrets) {
  WifiStationModeCommandPacket station;
  station.setSsid("Garage");
  station.setPassword("hunter2");
  EXPECT_EQ(testing::PrintToString(std::vector{station}),
            "{ WifiStationModeCommandPacket ssid=\"Garage\" password=*** securityType=2 }");
  EXPECT_EQ(testing::PrintToString(DisplayState()).substr(0, 22), R"({"link":{"isUp":false,)");
}

}  // namespace
}  // namespace varno::test
