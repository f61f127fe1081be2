#include <VarnoNetwork/VarnoNetwork.h>
#include <gtest/gtest.h>

#include <sstream>

#include "TestSupport.h"

namespace varno::test {
namespace {

// A packet type on the wire and in the log. All bytes are as stuffed.
struct TypeRow {
  PacketType type;
  std::string header;         // STX and the three identifiers
  std::string freshPayload;   // of a packet as it is constructed
  std::string filledPayload;  // of `filled`
  std::string description;    // of `filled`, without the type's name
  std::shared_ptr<HudPacket> filled;
};

// Calls the setters, each with the value that follows it.
void set(HudPacket&) {}

template <class Packet, class Base, class Value, class... More>
void set(Packet& packet, void (Base::*setter)(Value), std::type_identity_t<Value> value,
         More... more) {
  (packet.*setter)(std::move(value));
  set(packet, std::move(more)...);
}

template <class Packet, class... Setters>
TypeRow rowOf(const char* header, const char* freshPayload, const char* filledPayload,
              const char* description, Setters... setters) {
  auto filled = std::make_shared<Packet>();
  set(*filled, std::move(setters)...);
  return {PacketType::of<Packet>(), header, freshPayload, filledPayload, description, filled};
}

// The packet type is the one that the first setter belongs to.
template <class Packet, class Value, class... More>
TypeRow row(const char* header, const char* freshPayload, const char* filledPayload,
            const char* description, void (Packet::*setter)(Value),
            std::type_identity_t<Value> value, More... more) {
  return rowOf<Packet>(header, freshPayload, filledPayload, description, setter, std::move(value),
                       std::move(more)...);
}

template <class Packet>
TypeRow notification(const char* header, const char* filledPayload, const char* description,
                     HudString packageName, HudString title, HudString message) {
  return rowOf<Packet>(header, "00 00 00 00 00 00", filledPayload, description,
                       &Packet::setPackageName, packageName, &Packet::setTitle, title,
                       &Packet::setMessage, message);
}

std::shared_ptr<BluetoothSoundDevice> device(HudString name, HudString address, bool isConnected) {
  auto device = std::make_shared<BluetoothSoundDevice>();
  device->setName(std::move(name));
  device->setAddress(std::move(address));
  device->setIsConnected(isConnected);
  return device;
}

std::vector<TypeRow> notificationRows() {
  return {
      notification<InCommingCallNotificationPacket>(
          "02 01 01 00", "00 01 70 00 7D 7E 41 6E 6E 00 7D 7F 68 69",
          "[package name : p, title : Ann, message : hi]", "p", "Ann", "hi"),
      notification<SocialNotificationPacket>("02 01 04 00", "00 01 70 00 00 00 7D 7F C3 A9",
                                             "[package name : p, title : , message : \xC3\xA9]",
                                             "p", "", "\xC3\xA9"),
      notification<MusicNotificationPacket>(
          "02 01 0C 00", "00 0F 63 6F 6D 2E 76 61 72 6E 6F 2E 6D 75 73 69 63 00 00 00 7D 7F 41 42",
          "[package name : com.varno.music, title : , message : AB]", DEFAULT_MUSIC_PACKAGE_NAME,
          "", "AB"),
      notification<Obd2NotificationPacket>("02 01 0D 00", "00 00 00 01 7D 00 00 01 78",
                                           "[package name : (null), title : }, message : x]",
                                           std::nullopt, "}", "x"),
      notification<SpeedNotificationPacket>("02 01 0E 00", "00 01 73 00 7D 7F 36 30 00 00",
                                            "[package name : s, title : 60, message : ]", "s", "60",
                                            ""),
  };
}

std::vector<TypeRow> commandRows() {
  return {
      row("02 7D 7F 01 00", "00 00 00 00 00 00 00 00 00 7D 7E 47 4D 54",
          "00 00 01 5D 3E F7 98 00 00 7D 7E 55 54 43",
          "[timeInMillis : 1500000000000 timeZoneId : UTC]",
          &SystemTimeCommandPacket::setTimeInMillis, 1500000000000,
          &SystemTimeCommandPacket::setTimeZoneId, "UTC"),
      row("02 7D 7F 7D 7F 04", "00 00 00 33 00", "00 00 00 7D 00 01",
          "[brightness : 125, showSetting : 1]", &MinBrightnessCommandPacket::setBrightness, 125,
          &MinBrightnessCommandPacket::setShowSetting, true),
      row("02 7D 7F 7D 7F 06", "00 00 00 00 00", "FF FF FF FF 01",
          "[brightness : -1, showSetting : 1]", &VarnoCastMinBrightnessCommandPacket::setBrightness,
          -1, &VarnoCastMinBrightnessCommandPacket::setShowSetting, true),
      row("02 7D 7F 7D 7E 00", "00 00 00 00", "3F 00 00 00", "[keyStone : 0.500000]",
          &KeyStoneCommandPacket::setKeyStone, 0.5F),
      rowOf<BluetoothEnableCommandPacket>("02 7D 7F 05 01", "", "", "[]"),
      rowOf<BluetoothDisableCommandPacket>("02 7D 7F 05 7D 7F", "", "", "[]"),
      row("02 7D 7F 05 7D 7E", "00", "01", "[enable : 1]", &BluetoothScanCommandPacket::setEnable,
          true),
      row("02 7D 7F 05 04", "00 00 00", "00 01 41 01", "[address : A, isConnectionRequired : 1]",
          &BluetoothConnectionCommandPacket::setAddress, "A",
          &BluetoothConnectionCommandPacket::setIsConnectionRequired, true),
      row("02 7D 7F 05 06", "00 00 00 00 00 00 00 00", "00 00 00 01 00 01 41 00 01 42",
          "[pairingType : 1 soundDeviceAddress : A pairingKey : B]",
          &BluetoothPairingCommandPacket::setPairingType, 1,
          &BluetoothPairingCommandPacket::setSoundDeviceAddress, "A",
          &BluetoothPairingCommandPacket::setPairingKey, "B"),
      rowOf<UartConnectionCheckCommandPacket>("02 7D 7F 06 00", "", "", "[]"),
      row("02 7D 7F 07 00", "00 00 00 00", "FF FF FF FF", "[mode : ios]",
          &VarnoModeCommandPacket::setMode, -1),
      row("02 7D 7F 08 01", "00", "01", "[isFullScreen : 1]",
          &FullScreenCommandPacket::setIsFullScreen, true),
      row("02 7D 7F 09 01", "00 00 00 0A", "00 00 00 7D 7F", "[timeout : 2]",
          &NotiTimeoutCommandPacket::setTimeout, 2),
      row("02 7D 7F 09 7D 7F", "00", "01", "[isBacklightEnabled : 1]",
          &DisplayBrightnessCommandPacket::setIsBacklightEnabled, true),
      row("02 7D 7F 09 7D 7E", "00", "01", "[isSpeedInformationVisible : 1]",
          &DisplaySpeedCommandPacket::setIsSpeedInformationVisible, true),
      row("02 7D 7F 09 04", "00", "01", "[isEnable : 1]", &DisplayTimeCommandPacket::setIsEnable,
          true),
      row("02 7D 7F 09 05", "00 00 00 00", "00 00 00 01", "[speedUnitType : mp/h]",
          &DisplaySpeedUnitsCommandPacket::setSpeedUnitType, 1),
      rowOf<DisplayNotificationInitSettingCommandPacket>("02 7D 7F 09 06", "", "", "[]"),
      row("02 7D 7F 09 07", "00", "01", "[enable : 1]",
          &DisplayNotificationCommandPacket::setEnable, true),
      row("02 7D 7F 09 08", "00 FF FF FF FF 00 00 00 00 00 00 00 00",
          "01 00 00 FF 00 00 00 00 1F 00 00 00 7D 7F 00 01 61 00 01 62",
          "[enable : 1, textColor : 0xFF00, icon : 0x1F, package name count : 2 package name "
          "list[a, b]]",
          &DisplayNotificationSettingCommandPacket::setEnable, true,
          &DisplayNotificationSettingCommandPacket::setTextColor, 0xFF00,
          &DisplayNotificationSettingCommandPacket::setIcon, 31,
          &DisplayNotificationSettingCommandPacket::addPackageName, "b",
          &DisplayNotificationSettingCommandPacket::addPackageName, "a"),
      row("02 7D 7F 09 09", "00 00 00 00", "00 00 00 7D 7E", "[speed : 3]",
          &DisplaySpeedWarningCommandPacket::setSpeed, 3),
      row("02 7D 7F 09 0A", "FF FF FF FF", "FF 39 B1 EE", "[textColor : 0xFF39B1EE]",
          &DisplaySpeedColorCommandPacket::setTextColor, -0xC64E12),
      row("02 7D 7F 09 0B", "00 00 00 01", "FF FF FF FE", "[theme : -2]",
          &DisplayThemeCommandPacket::setTheme, -2),
      row("02 7D 7F 09 0C", "01", "00", "[isSpeedGaugeVisible : 0]",
          &DisplaySpeedGaugeCommandPacket::setIsSpeedGaugeVisible, false),
      row("02 7D 7F 0A 01", "00 00 00 00 00 00 00 00", "00 00 00 00 00 10 00 00",
          "[size : 1048576]", &SoftwareUpdateCommandPacket::setSize, 1048576),
      rowOf<SoftwareUpdateCancelCommandPacket>("02 7D 7F 0A 7D 7F", "", "", "[]"),
      row("02 7D 7F 0B 01", "01", "00", "[isUnreliable : 0]",
          &GpsStatusCommandPacket::setIsUnreliable, false),
      rowOf<HudDisconnectCommandPacket>("02 7D 7F 0C 00", "", "", "[]"),
      row("02 7D 7F 0D 00", "00 00 00 01", "00 00 00 7D 00", "[resetType : 125]",
          &HudResetCommandPacket::setResetType, 125),
      row("02 7D 7F 0E 00", "00 00 00 00", "3F A0 00 00", "[layoutSize : 1.250000]",
          &LayoutSizeCommandPacket::setLayoutSize, 1.25F),
      rowOf<KeepAliveCommandPacket>("02 7D 7F 0F 00", "", "", "[]"),
      row("02 7D 7F 10 00", "00 00 00 00 00 00 00 7D 7F",
          "00 04 48 6F 6D 65 00 04 61 62 63 64 00 00 00 7D 7E",
          "[ssid : Home password : abcd security : 3]", &WifiStationModeCommandPacket::setSsid,
          "Home", &WifiStationModeCommandPacket::setPassword, "abcd",
          &WifiStationModeCommandPacket::setSecurityType, 3),
      row("02 7D 7F 13 01", "00", "01", "[shouldConnectToOBDII : 1]",
          &OBDIIConnectionCommandPacket::setShouldConnectToOBDII, true),
      row("02 7D 7F 15 00", "01 00", "00 01", "[is5G : 0 forceEnable : 1]",
          &HudHotspotBasebandCommandPacket::setIs5G, false,
          &HudHotspotBasebandCommandPacket::setForceEnable, true),
  };
}

std::vector<TypeRow> eventRows() {
  return {
      rowOf<UartConnectionEventPacket>("02 7D 7E 01 01", "", "", "[]"),
      row("02 7D 7E 7D 7F 01", "00", "FF", "[statusType : 255]",
          &BluetoothStatusEventPacket::setStatusType, 255),
      row("02 7D 7E 7D 7F 7D 7F", "00 00 00 00 00 00", "00 01 41 00 01 42 01 7D 7F",
          "[soundDevice : BluetoothSoundDevice[name : A, address : B isConnected:1] event : 2]",
          &BluetoothConnectionEventPacket::setSoundDevice, device("A", "B", true),
          &BluetoothConnectionEventPacket::setEvent, std::uint8_t{2}),
      row("02 7D 7E 7D 7F 7D 7E", "00 00 00 00 00", "00 00 00 01 42 00",
          "[soundDevice : BluetoothSoundDevice[name : (null), address : B isConnected:0]]",
          &BluetoothDeviceFoundEventPacket::setSoundDevice, device(std::nullopt, "B", false)),
      row("02 7D 7E 7D 7F 05", "00 00 00 00 00 00", "00 01 41 FF FF FF FE",
          "[pairingType : -2 soundDeviceAddress : A]", &BluetoothPairingEventPacket::setPairingType,
          -2, &BluetoothPairingEventPacket::setSoundDeviceAddress, "A"),
      row("02 7D 7E 7D 7E 01", "00", "01", "[isVarnoAppStart : 1]",
          &VarnoAppStartEventPacket::setIsVarnoAppStart, true),
      row("02 7D 7E 7D 7E 7D 7F", "00", "01", "[isVarnoAppConnected : 1]",
          &VarnoAppConnectionEventPacket::setIsVarnoAppConnected, true),
      row("02 7D 7E 04 01", "", "", "[serverIp : 10.0.0.1]",
          &SoftwareUpdateEventPacket::setServerIp, "10.0.0.1"),
      row("02 7D 7E 05 00", "00 01 26", "00 04 41 26 42 43",
          "[modelName : A systemVersion : B bleVersion : C]", &HudVersionEventPacket::setModelName,
          "A", &HudVersionEventPacket::setSystemVersion, "B", &HudVersionEventPacket::setBleVersion,
          "C"),
      row("02 7D 7E 05 00", "00 01 26", "00 7D 7F 26 43",
          "[modelName : (null) systemVersion : (null) bleVersion : C]",
          &HudVersionEventPacket::setModelName, std::nullopt,
          &HudVersionEventPacket::setSystemVersion, std::nullopt,
          &HudVersionEventPacket::setBleVersion, "C"),
      row("02 7D 7E 06 00", "00 00 00 00 00 00 00 00", "FF FF FF FF 00 01 45 00 7D 7F 49 50",
          "[errorCode : -1 errorMessage : E ipAddress : IP]",
          &WifiStationStatusEventPacket::setEventType, -1,
          &WifiStationStatusEventPacket::setErrorMessage, "E",
          &WifiStationStatusEventPacket::setIpAddress, "IP"),
  };
}

// By packet id.
std::vector<TypeRow> typeRows() {
  std::vector<TypeRow> rows = notificationRows();
  for (const auto& more : {commandRows(), eventRows()}) {
    rows.insert(rows.end(), more.begin(), more.end());
  }
  return rows;
}

std::string frame(const TypeRow& row, const std::string& payload) {
  return row.header + (payload.empty() ? " 03" : " " + payload + " 03");
}

TEST(PacketTypes, FramesAndDescriptions) {
  for (const TypeRow& row : typeRows()) {
    SCOPED_TRACE(row.type.name());
    EXPECT_EQ(hex(frameOf(*row.type.make())), frame(row, row.freshPayload));
    EXPECT_EQ(hex(frameOf(*row.filled)), frame(row, row.filledPayload));
    std::ostringstream printed;
    printed << *row.filled;
    EXPECT_EQ(printed.str(), std::string(row.type.name()) + row.description);
  }
}

// No base among them, no type missing, no id or name twice.
TEST(PacketTypes, NetworkKnowsEachOnceByItsId) {
  const auto map = RecordingNetwork().packetIdToClassMap();
  std::set<std::string_view> names;
  for (const TypeRow& row : typeRows()) {
    SCOPED_TRACE(row.type.name());
    const Bytes header = bytes(row.header);
    HudInputStream stream(header);
    stream.directRead();
    const std::uint8_t command = stream.readByte();
    const std::uint8_t param1 = stream.readByte();
    const auto found = map.find(HudNetwork::getPacktId(command, param1, stream.readByte()));
    ASSERT_NE(found, map.end());
    EXPECT_EQ(found->second, row.type);
    names.insert(found->second.name());
  }
  EXPECT_EQ(map.size(), names.size());
}

}  // namespace
}  // namespace varno::test
