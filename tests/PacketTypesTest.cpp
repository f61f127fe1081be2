#include <VarnoNetwork/VarnoNetwork.h>
#include <gtest/gtest.h>

#include <sstream>

#include "TestSupport.h"

namespace varno::test {
namespace {

// A packet type as it stands on the wire and in the log. All bytes are stuffed.
struct TypeRow {
  PacketType type;
  std::string header;         // STX and the three identifiers
  std::string freshPayload;   // of a packet as it is constructed
  std::string filledPayload;  // of `filled`
  std::string description;    // of `filled`, without the type's name
  std::shared_ptr<HudPacket> filled;
};

template <class Packet>
TypeRow row(
    const char* header, const char* freshPayload, const char* filledPayload,
    const char* description, void (*fill)(Packet&) = [](Packet&) {}) {
  auto filled = std::make_shared<Packet>();
  fill(*filled);
  return {PacketType::of<Packet>(), header, freshPayload, filledPayload, description, filled};
}

std::shared_ptr<BluetoothSoundDevice> device(HudString name, HudString address, bool isConnected) {
  auto device = std::make_shared<BluetoothSoundDevice>();
  device->setName(std::move(name));
  device->setAddress(std::move(address));
  device->setIsConnected(isConnected);
  return device;
}

template <class Packet>
void fillNotification(Packet& packet, HudString packageName, HudString title, HudString message) {
  packet.setPackageName(std::move(packageName));
  packet.setTitle(std::move(title));
  packet.setMessage(std::move(message));
}

std::vector<TypeRow> notificationRows() {
  return {
      row<InCommingCallNotificationPacket>(
          "02 01 01 00", "00 00 00 00 00 00", "00 01 70 00 7D 7E 41 6E 6E 00 7D 7F 68 69",
          "[package name : p, title : Ann, message : hi]",
          [](auto& packet) { fillNotification(packet, "p", "Ann", "hi"); }),
      row<SocialNotificationPacket>(
          "02 01 04 00", "00 00 00 00 00 00", "00 01 70 00 00 00 7D 7F C3 A9",
          "[package name : p, title : , message : \xC3\xA9]",
          [](auto& packet) { fillNotification(packet, "p", "", "\xC3\xA9"); }),
      row<MusicNotificationPacket>(
          "02 01 0C 00", "00 00 00 00 00 00",
          "00 0F 63 6F 6D 2E 76 61 72 6E 6F 2E 6D 75 73 69 63 00 00 00 7D 7F 41 42",
          "[package name : com.varno.music, title : , message : AB]",
          [](auto& packet) { fillNotification(packet, DEFAULT_MUSIC_PACKAGE_NAME, "", "AB"); }),
      row<Obd2NotificationPacket>(
          "02 01 0D 00", "00 00 00 00 00 00", "00 00 00 01 7D 00 00 01 78",
          "[package name : (null), title : }, message : x]",
          [](auto& packet) { fillNotification(packet, std::nullopt, "}", "x"); }),
      row<SpeedNotificationPacket>("02 01 0E 00", "00 00 00 00 00 00",
                                   "00 01 73 00 7D 7F 36 30 00 00",
                                   "[package name : s, title : 60, message : ]",
                                   [](auto& packet) { fillNotification(packet, "s", "60", ""); }),
  };
}

std::vector<TypeRow> commandRows() {
  return {
      row<SystemTimeCommandPacket>("02 7D 7F 01 00", "00 00 00 00 00 00 00 00 00 7D 7E 47 4D 54",
                                   "00 00 01 5D 3E F7 98 00 00 7D 7E 55 54 43",
                                   "[timeInMillis : 1500000000000 timeZoneId : UTC]",
                                   [](auto& packet) {
                                     packet.setTimeInMillis(1500000000000);
                                     packet.setTimeZoneId("UTC");
                                   }),
      row<MinBrightnessCommandPacket>("02 7D 7F 7D 7F 04", "00 00 00 33 00", "00 00 00 7D 00 01",
                                      "[brightness : 125, showSetting : 1]",
                                      [](auto& packet) {
                                        packet.setBrightness(125);
                                        packet.setShowSetting(true);
                                      }),
      row<VarnoCastMinBrightnessCommandPacket>("02 7D 7F 7D 7F 06", "00 00 00 00 00",
                                               "FF FF FF FF 01",
                                               "[brightness : -1, showSetting : 1]",
                                               [](auto& packet) {
                                                 packet.setBrightness(-1);
                                                 packet.setShowSetting(true);
                                               }),
      row<KeyStoneCommandPacket>("02 7D 7F 7D 7E 00", "00 00 00 00", "3F 00 00 00",
                                 "[keyStone : 0.500000]",
                                 [](auto& packet) { packet.setKeyStone(0.5F); }),
      row<BluetoothEnableCommandPacket>("02 7D 7F 05 01", "", "", "[]"),
      row<BluetoothDisableCommandPacket>("02 7D 7F 05 7D 7F", "", "", "[]"),
      row<BluetoothScanCommandPacket>("02 7D 7F 05 7D 7E", "00", "01", "[enable : 1]",
                                      [](auto& packet) { packet.setEnable(true); }),
      row<BluetoothConnectionCommandPacket>("02 7D 7F 05 04", "00 00 00", "00 01 41 01",
                                            "[address : A, isConnectionRequired : 1]",
                                            [](auto& packet) {
                                              packet.setAddress("A");
                                              packet.setIsConnectionRequired(true);
                                            }),
      row<BluetoothPairingCommandPacket>("02 7D 7F 05 06", "00 00 00 00 00 00 00 00",
                                         "00 00 00 01 00 01 41 00 01 42",
                                         "[pairingType : 1 soundDeviceAddress : A pairingKey : B]",
                                         [](auto& packet) {
                                           packet.setPairingType(1);
                                           packet.setSoundDeviceAddress("A");
                                           packet.setPairingKey("B");
                                         }),
      row<UartConnectionCheckCommandPacket>("02 7D 7F 06 00", "", "", "[]"),
      row<VarnoModeCommandPacket>("02 7D 7F 07 00", "00 00 00 00", "FF FF FF FF", "[mode : ios]",
                                  [](auto& packet) { packet.setMode(-1); }),
      row<FullScreenCommandPacket>("02 7D 7F 08 01", "00", "01", "[isFullScreen : 1]",
                                   [](auto& packet) { packet.setIsFullScreen(true); }),
      row<NotiTimeoutCommandPacket>("02 7D 7F 09 01", "00 00 00 0A", "00 00 00 7D 7F",
                                    "[timeout : 2]", [](auto& packet) { packet.setTimeout(2); }),
      row<DisplayBrightnessCommandPacket>("02 7D 7F 09 7D 7F", "00", "01",
                                          "[isBacklightEnabled : 1]",
                                          [](auto& packet) { packet.setIsBacklightEnabled(true); }),
      row<DisplaySpeedCommandPacket>(
          "02 7D 7F 09 7D 7E", "00", "01", "[isSpeedInformationVisible : 1]",
          [](auto& packet) { packet.setIsSpeedInformationVisible(true); }),
      row<DisplayTimeCommandPacket>("02 7D 7F 09 04", "00", "01", "[isEnable : 1]",
                                    [](auto& packet) { packet.setIsEnable(true); }),
      row<DisplaySpeedUnitsCommandPacket>("02 7D 7F 09 05", "00 00 00 00", "00 00 00 01",
                                          "[speedUnitType : mp/h]",
                                          [](auto& packet) { packet.setSpeedUnitType(1); }),
      row<DisplayNotificationInitSettingCommandPacket>("02 7D 7F 09 06", "", "", "[]"),
      row<DisplayNotificationCommandPacket>("02 7D 7F 09 07", "00", "01", "[enable : 1]",
                                            [](auto& packet) { packet.setEnable(true); }),
      row<DisplayNotificationSettingCommandPacket>(
          "02 7D 7F 09 08", "00 FF FF FF FF 00 00 00 00 00 00 00 00",
          "01 00 00 FF 00 00 00 00 1F 00 00 00 7D 7F 00 01 61 00 01 62",
          "[enable : 1, textColor : 0xFF00, icon : 0x1F, package name count : 2 package name "
          "list[a, b]]",
          [](auto& packet) {
            packet.setEnable(true);
            packet.setTextColor(0xFF00);
            packet.setIcon(31);
            packet.addPackageName("b");
            packet.addPackageName("a");
          }),
      row<DisplaySpeedWarningCommandPacket>("02 7D 7F 09 09", "00 00 00 00", "00 00 00 7D 7E",
                                            "[speed : 3]",
                                            [](auto& packet) { packet.setSpeed(3); }),
      row<DisplaySpeedColorCommandPacket>("02 7D 7F 09 0A", "FF FF FF FF", "FF 39 B1 EE",
                                          "[textColor : 0xFF39B1EE]",
                                          [](auto& packet) { packet.setTextColor(-0xC64E12); }),
      row<DisplayThemeCommandPacket>("02 7D 7F 09 0B", "00 00 00 01", "FF FF FF FE", "[theme : -2]",
                                     [](auto& packet) { packet.setTheme(-2); }),
      row<DisplaySpeedGaugeCommandPacket>(
          "02 7D 7F 09 0C", "01", "00", "[isSpeedGaugeVisible : 0]",
          [](auto& packet) { packet.setIsSpeedGaugeVisible(false); }),
      row<SoftwareUpdateCommandPacket>("02 7D 7F 0A 01", "00 00 00 00 00 00 00 00",
                                       "00 00 00 00 00 10 00 00", "[size : 1048576]",
                                       [](auto& packet) { packet.setSize(1048576); }),
      row<SoftwareUpdateCancelCommandPacket>("02 7D 7F 0A 7D 7F", "", "", "[]"),
      row<GpsStatusCommandPacket>("02 7D 7F 0B 01", "01", "00", "[isUnreliable : 0]",
                                  [](auto& packet) { packet.setIsUnreliable(false); }),
      row<HudDisconnectCommandPacket>("02 7D 7F 0C 00", "", "", "[]"),
      row<HudResetCommandPacket>("02 7D 7F 0D 00", "00 00 00 01", "00 00 00 7D 00",
                                 "[resetType : 125]",
                                 [](auto& packet) { packet.setResetType(125); }),
      row<LayoutSizeCommandPacket>("02 7D 7F 0E 00", "00 00 00 00", "3F A0 00 00",
                                   "[layoutSize : 1.250000]",
                                   [](auto& packet) { packet.setLayoutSize(1.25F); }),
      row<KeepAliveCommandPacket>("02 7D 7F 0F 00", "", "", "[]"),
      row<WifiStationModeCommandPacket>("02 7D 7F 10 00", "00 00 00 00 00 00 00 7D 7F",
                                        "00 04 48 6F 6D 65 00 04 61 62 63 64 00 00 00 7D 7E",
                                        "[ssid : Home password : abcd security : 3]",
                                        [](auto& packet) {
                                          packet.setSsid("Home");
                                          packet.setPassword("abcd");
                                          packet.setSecurityType(3);
                                        }),
      row<OBDIIConnectionCommandPacket>("02 7D 7F 13 01", "00", "01", "[shouldConnectToOBDII : 1]",
                                        [](auto& packet) { packet.setShouldConnectToOBDII(true); }),
      row<HudHotspotBasebandCommandPacket>("02 7D 7F 15 00", "01 00", "00 01",
                                           "[is5G : 0 forceEnable : 1]",
                                           [](auto& packet) {
                                             packet.setIs5G(false);
                                             packet.setForceEnable(true);
                                           }),
  };
}

std::vector<TypeRow> eventRows() {
  return {
      row<UartConnectionEventPacket>("02 7D 7E 01 01", "", "", "[]"),
      row<BluetoothStatusEventPacket>("02 7D 7E 7D 7F 01", "00", "FF", "[statusType : 255]",
                                      [](auto& packet) { packet.setStatusType(255); }),
      row<BluetoothConnectionEventPacket>(
          "02 7D 7E 7D 7F 7D 7F", "00 00 00 00 00 00", "00 01 41 00 01 42 01 7D 7F",
          "[soundDevice : BluetoothSoundDevice[name : A, address : B isConnected:1] event : 2]",
          [](auto& packet) {
            packet.setSoundDevice(device("A", "B", true));
            packet.setEvent(2);
          }),
      row<BluetoothDeviceFoundEventPacket>(
          "02 7D 7E 7D 7F 7D 7E", "00 00 00 00 00", "00 00 00 01 42 00",
          "[soundDevice : BluetoothSoundDevice[name : (null), address : B isConnected:0]]",
          [](auto& packet) { packet.setSoundDevice(device(std::nullopt, "B", false)); }),
      row<BluetoothPairingEventPacket>("02 7D 7E 7D 7F 05", "00 00 00 00 00 00",
                                       "00 01 41 FF FF FF FE",
                                       "[pairingType : -2 soundDeviceAddress : A]",
                                       [](auto& packet) {
                                         packet.setPairingType(-2);
                                         packet.setSoundDeviceAddress("A");
                                       }),
      row<VarnoAppStartEventPacket>("02 7D 7E 7D 7E 01", "00", "01", "[isVarnoAppStart : 1]",
                                    [](auto& packet) { packet.setIsVarnoAppStart(true); }),
      row<VarnoAppConnectionEventPacket>("02 7D 7E 7D 7E 7D 7F", "00", "01",
                                         "[isVarnoAppConnected : 1]",
                                         [](auto& packet) { packet.setIsVarnoAppConnected(true); }),
      row<SoftwareUpdateEventPacket>("02 7D 7E 04 01", "", "", "[serverIp : 10.0.0.1]",
                                     [](auto& packet) { packet.setServerIp("10.0.0.1"); }),
      row<HudVersionEventPacket>("02 7D 7E 05 00", "00 01 26", "00 04 41 26 42 43",
                                 "[modelName : A systemVersion : B bleVersion : C]",
                                 [](auto& packet) {
                                   packet.setModelName("A");
                                   packet.setSystemVersion("B");
                                   packet.setBleVersion("C");
                                 }),
      row<HudVersionEventPacket>("02 7D 7E 05 00", "00 01 26", "00 7D 7F 26 43",
                                 "[modelName : (null) systemVersion : (null) bleVersion : C]",
                                 [](auto& packet) {
                                   packet.setModelName(std::nullopt);
                                   packet.setSystemVersion(std::nullopt);
                                   packet.setBleVersion("C");
                                 }),
      row<WifiStationStatusEventPacket>("02 7D 7E 06 00", "00 00 00 00 00 00 00 00",
                                        "FF FF FF FF 00 01 45 00 7D 7F 49 50",
                                        "[errorCode : -1 errorMessage : E ipAddress : IP]",
                                        [](auto& packet) {
                                          packet.setEventType(-1);
                                          packet.setErrorMessage("E");
                                          packet.setIpAddress("IP");
                                        }),
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

std::string serialized(const HudPacket& packet) {
  HudOutputStream stream;
  packet.serialize(stream);
  return hex(stream.toNSData());
}

TEST(PacketTypes, FramesAndDescriptions) {
  for (const TypeRow& row : typeRows()) {
    SCOPED_TRACE(row.type.name());
    EXPECT_EQ(serialized(*row.type.make()), frame(row, row.freshPayload));
    EXPECT_EQ(serialized(*row.filled), frame(row, row.filledPayload));
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
  EXPECT_EQ(names.size(), 49U);
  EXPECT_EQ(map.size(), 49U);
}

}  // namespace
}  // namespace varno::test
