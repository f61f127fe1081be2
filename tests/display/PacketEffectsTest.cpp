#include "tests/display/DisplaySupport.h"

#include <VarnoDisplay/PacketEffects.h>
#include <VarnoNetwork/Network/PacketCatalogue.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <type_traits>

namespace varno::test {
namespace {

// Gives every field another value than a fresh packet has.
void fillPacket(HudPacket& packet) {
  forEachField(packet, [](const FieldInfo&, auto& value) {
    using Value = std::remove_reference_t<decltype(value)>;
    if constexpr (std::is_same_v<Value, bool>) {
      value = !value;
    } else if constexpr (std::is_same_v<Value, HudString>) {
      value = "x";
    } else if constexpr (std::is_same_v<Value, StringSet>) {
      value = {"x"};
    } else {
      value = static_cast<Value>(value + 7);
    }
  });
}

// What has to come before a packet so that there is something to be seen.
constexpr struct {
  std::string_view type;
  const char* before;
} kBefore[] = {
    {"BluetoothEnableCommandPacket", "BluetoothDisable"},
    {"DisplayBrightnessCommandPacket", "DisplayBrightness"},
    {"DisplayNotificationCommandPacket", "DisplayNotificationCommand"},
    {"SoftwareUpdateCancelCommandPacket", "SoftwareUpdateCommand size=1"},
    {"SoftwareUpdateEventPacket", "SoftwareUpdateCommand size=1"},
    {"DisplayNotificationInitSettingCommandPacket", "DisplayNotificationSetting icon=1"},
};

TEST(PacketEffects, EveryTypeOfTheCatalogueDoesWhatItIsListedWith) {
  const auto listed = packetEffects();
  for (const PacketType type : PacketCatalogue::packetTypes()) {
    SCOPED_TRACE(type.name());
    // The catalogue of this program may have types of other tests.
    if (type.name().starts_with("Test")) continue;
    const auto effect = std::find_if(listed.begin(), listed.end(),
                                     [&](const PacketEffect& row) { return row.type == type; });
    if (effect == listed.end()) {
      ADD_FAILURE() << "the type is not listed";
      continue;
    }
    EXPECT_FALSE(effect->effect.empty());
    Desk desk({.switchedOff = {DisplayAnswer::kVersion}});
    for (const auto& row : kBefore) {
      if (row.type == type.name()) desk.receive(row.before);
    }
    desk.changes.clear();
    const DisplayState before = desk.display.state();
    const std::shared_ptr<HudPacket> packet = type.make();
    fillPacket(*packet);
    if (packet->getCommand() == 3) {
      desk.display.send(*packet);
    } else {
      desk.display.receive(frameOf(*packet));
    }
    EXPECT_EQ(desk.changes.empty(), !effect->isVisible);
    EXPECT_EQ(desk.display.state() == before, !effect->isVisible);
    // An event from the phone is none of the display's.
    const DisplayState after = desk.display.state();
    if (packet->getCommand() == 3) desk.display.receive(frameOf(*type.make()));
    EXPECT_TRUE(desk.display.state() == after);
  }
}

TEST(PacketEffects, TellsEachChangeInOneLine) {
  const struct {
    const char* packet;
    Desk::Lines changes;
  } rows[] = {
      {"DisplaySpeed isSpeedInformationVisible=true",
       {"speed.isVisible: false -> true (DisplaySpeedCommandPacket)"}},
      {"DisplaySpeed isSpeedInformationVisible=true", {}},
      {"SpeedNotification message=50",
       {"speed.text: \"\" -> \"50\" (SpeedNotificationPacket)",
        "speed.value: none -> 50 (SpeedNotificationPacket)"}},
      {"DisplaySpeedWarning speed=50",
       {"speed.warningAt: 0 -> 50 (DisplaySpeedWarningCommandPacket)",
        "speed.isWarning: false -> true (DisplaySpeedWarningCommandPacket)"}},
      {"SpeedNotification message=fast",
       {"speed.text: \"50\" -> \"fast\" (SpeedNotificationPacket)",
        "speed.value: 50 -> none (SpeedNotificationPacket)",
        "speed.isWarning: true -> false (SpeedNotificationPacket)"}},
      {"DisplaySpeedUnits speedUnitType=-1",
       {"speed.unit: \"km/h\" -> \"mp/h\" (DisplaySpeedUnitsCommandPacket)"}},
      {"DisplaySpeedColor textColor=0x39B1EE",
       {"speed.color: #FFFFFF -> #39B1EE (DisplaySpeedColorCommandPacket)"}},
      {"DisplayTheme theme=2", {"picture.theme: 1 (day) -> 2 (night) (DisplayThemeCommandPacket)"}},
      {"DisplayTheme theme=9", {"picture.theme: 2 (night) -> 9 (DisplayThemeCommandPacket)"}},
      {"KeyStone keyStone=nan", {"picture.keystone: 0 -> nan (KeyStoneCommandPacket)"}},
      {"KeyStone keyStone=nan", {}},
      {"MinBrightness brightness=51",
       {"picture.minBrightness: 0 -> 51 (MinBrightnessCommandPacket)",
        "picture.minBrightnessPercent: 0 -> 20 (MinBrightnessCommandPacket)"}},
      {"SystemTime timeInMillis=1500000000999",
       {"clock.reading: none -> 2017-07-14T02:40:00Z (SystemTimeCommandPacket)",
        "clock.timeZone: \"\" -> \"GMT\" (SystemTimeCommandPacket)"}},
      {"SystemTime timeInMillis=-9223372036854775808 timeZoneId=\"\\x1B[2J\"",
       {"clock.reading: 2017-07-14T02:40:00Z -> -9223372036854775808 ms (SystemTimeCommandPacket)",
        "clock.timeZone: \"GMT\" -> \"\\x1B[2J\" (SystemTimeCommandPacket)"}},
      {"WifiStationMode ssid=Garage password=secret securityType=2",
       {"wifi.ssid: \"\" -> \"Garage\" (WifiStationModeCommandPacket)",
        "wifi.hasPassword: false -> true (WifiStationModeCommandPacket)",
        "wifi.security: 0 -> 2 (WPA2) (WifiStationModeCommandPacket)",
        "wifi.isJoining: false -> true (WifiStationModeCommandPacket)"}},
      {"BluetoothPairingCommand pairingType=1 soundDeviceAddress=\"A]\" pairingKey=0000",
       {"bluetooth.pairing: 0 -> 1 (PIN) (BluetoothPairingCommandPacket)",
        "bluetooth.devices[A]]: new (BluetoothPairingCommandPacket)"}},
      {"DisplayNotificationSetting icon=3 enable=false textColor=0xFF39B1EE "
       "packageNameSet=[\"com.varno.music\"]",
       {"notices.settings[3].isEnabled: true -> false (DisplayNotificationSettingCommandPacket)"}},
      {"MusicNotification packageName=com.varno.music title=a",
       {"notices.hidden: 0 -> 1 (MusicNotificationPacket)"}},
      {"HudReset resetType=2", {}},  // see below
  };
  Desk desk({.switchedOff = {DisplayAnswer::kVersion}});
  for (const auto& row : rows) {
    desk.receive(row.packet);
    if (!std::string_view(row.packet).starts_with("HudReset")) {
      EXPECT_EQ(desk.takeChanges(), row.changes) << row.packet;
    }
  }
  DisplayState fresh = Desk().display.state();
  fresh.device.resets = 1;
  fresh.device.lastReset = {2, "factory settings"};
  EXPECT_TRUE(desk.display.state() == fresh);
}

TEST(PacketEffects, NoticesComeWithIconAndColorAndGoByTheClock) {
  using std::chrono::seconds;
  Desk desk({.maxNotices = 2, .switchedOff = {DisplayAnswer::kKeepAliveWatch}});
  desk.pass(seconds(1));
  desk.changes.clear();
  const auto ids = [&] {
    std::vector<std::int32_t> shown;
    for (const NoticeView& notice : desk.display.state().notices.shown) shown.push_back(notice.id);
    return shown;
  };
  desk.receive("SocialNotification packageName=com.iwilab.KakaoTalk title=Ada message=\"a\\nb\"");
  EXPECT_EQ(desk.takeChanges(),
            Desk::Lines{"notices.shown[1]: kind=\"social\" icon=6 (talk) color=#FAE100 "
                        "packageName=\"com.iwilab.KakaoTalk\" title=\"Ada\" message=\"a\\x0Ab\" "
                        "goesAt=+10s (SocialNotificationPacket)"});
  desk.pass(seconds(4));
  desk.receive("NotiTimeout timeout=3");
  desk.receive("SocialNotification title=b");
  EXPECT_EQ(ids(), (std::vector<std::int32_t>{1, 2}));
  desk.changes.clear();
  desk.pass(seconds(3));
  EXPECT_EQ(desk.takeChanges(), Desk::Lines{"notices.shown[2]: gone (time)"});
  desk.receive("NotiTimeout timeout=0");
  desk.receive("SocialNotification title=c");
  desk.receive("SocialNotification title=d");
  EXPECT_EQ(ids(), (std::vector<std::int32_t>{3, 4}));  // the oldest went
  desk.pass(seconds(100'000));
  EXPECT_EQ(ids(), (std::vector<std::int32_t>{3, 4}));
  desk.receive("InCommingCall title=Ada");
  EXPECT_EQ(desk.display.state().notices.call->title, "Ada");
  desk.receive("InCommingCall");
  EXPECT_FALSE(desk.display.state().notices.call);
  desk.receive("DisplayNotificationCommand enable=false");
  desk.receive("SocialNotification title=e");
  EXPECT_EQ(desk.display.state().notices.hidden, 1);
}

TEST(PacketEffects, TheStateAndAChangeAreJsonOnOneLine) {
  Desk desk;
  desk.receive("KeyStone keyStone=-inf");
  desk.receive("WifiStationMode ssid=G password=hunter2");
  desk.receive("SystemTime timeInMillis=1500000000000");
  desk.receive("SocialNotification title=\"<b>\\\"\\n\"");
  const std::string json = jsonOf(desk.display.state());
  for (const char* const part :
       {R"({"link":{"isUp":true,"isPhoneAlive":false,)", R"("keystone":"-inf")",
        R"("reading":{"time":"1500000000000","setAt":"0.000000000"})", R"("value":null)",
        R"("theme":{"code":1,"meaning":"day"})", R"("title":"<b>\"\n")", R"("color":"#39B1EE")",
        R"("packageNames":["com.varno.music"])"}) {
    EXPECT_NE(json.find(part), std::string::npos) << part << " in " << json;
  }
  EXPECT_EQ(json.find("hunter2"), std::string::npos);
  EXPECT_EQ(json.find('\n'), std::string::npos);
  EXPECT_EQ(jsonOf(StateChange{1'500'000'000, "a", "\"", "", "time"}),
            R"({"time":"1.500000000","path":"a","before":"\"","after":"","cause":"time"})");
}

}  // namespace
}  // namespace varno::test
