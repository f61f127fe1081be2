#include <VarnoDisplay/PacketEffects.h>
#include <VarnoDisplay/Private/Effects.h>
#include <VarnoDisplay/Private/Notices.h>
#include <VarnoNetwork/Network/PacketTypes.h>

#include <algorithm>
#include <array>
#include <utility>

namespace varno {
namespace {

using Panel = DisplayPanel;

DisplayCode codeOf(std::int32_t code, const DisplayCodes::Meanings& meanings) {
  return DisplayCodes::codeOf(code, meanings);
}

// The device of that address in the list, where it is put if it is not yet.
SoundDeviceView& deviceAt(Panel& panel, const std::string& address) {
  std::vector<SoundDeviceView>& devices = panel.state.bluetooth.devices;
  const auto found =
      std::find_if(devices.begin(), devices.end(),
                   [&](const SoundDeviceView& device) { return device.address == address; });
  if (found != devices.end()) return *found;
  constexpr std::size_t kMostDevices = 64;  // so that no peer makes it grow without end
  if (devices.size() == kMostDevices) devices.erase(devices.begin());
  return devices.emplace_back(SoundDeviceView{.address = address});
}

SoundDeviceView& noteDevice(Panel& panel, const std::shared_ptr<BluetoothSoundDevice>& device) {
  const BluetoothSoundDevice none;
  const BluetoothSoundDevice& told = device != nullptr ? *device : none;
  SoundDeviceView& view = deviceAt(panel, presentText(told.address()));
  if (told.name() && !told.name()->empty()) view.name = *told.name();
  view.isConnected = told.isConnected();
  return view;
}

void on(Panel& panel, const InCommingCallNotificationPacket& packet, LinkTime now) {
  showCall(panel, packet, now);
}
void on(Panel& panel, const SocialNotificationPacket& packet, LinkTime now) {
  showMessage(panel, packet, now);
}
void on(Panel& panel, const MusicNotificationPacket& packet, LinkTime now) {
  showMusic(panel, packet, now);
}
void on(Panel& panel, const Obd2NotificationPacket& packet, LinkTime now) {
  showObd2(panel, packet, now);
}
void on(Panel& panel, const SpeedNotificationPacket& packet, LinkTime /*now*/) {
  showSpeed(panel, packet);
}

void on(Panel& panel, const SystemTimeCommandPacket& packet, LinkTime now) {
  ClockView& clock = panel.state.clock;
  clock.reading = ClockReading{.time = std::chrono::sys_time<std::chrono::milliseconds>(
                                   std::chrono::milliseconds(packet.timeInMillis())),
                               .setAt = now};
  clock.timeZone = presentText(packet.timeZoneId());
}

void on(Panel& panel, const MinBrightnessCommandPacket& packet, LinkTime /*now*/) {
  PictureView& picture = panel.state.picture;
  picture.minBrightness = packet.brightness();
  picture.minBrightnessPercent = panel.options.codes.brightnessPercent(packet.brightness());
  picture.showsBrightnessSetting = packet.showSetting();
}

void on(Panel& panel, const VarnoCastMinBrightnessCommandPacket& packet, LinkTime /*now*/) {
  PictureView& picture = panel.state.picture;
  picture.castMinBrightness = packet.brightness();
  picture.castMinBrightnessPercent = panel.options.codes.brightnessPercent(packet.brightness());
  picture.showsCastBrightnessSetting = packet.showSetting();
}

void on(Panel& panel, const KeyStoneCommandPacket& packet, LinkTime /*now*/) {
  panel.state.picture.keystone = packet.keyStone();
}

void on(Panel& panel, const BluetoothEnableCommandPacket& /*packet*/, LinkTime /*now*/) {
  panel.state.bluetooth.isEnabled = true;
}

void on(Panel& panel, const BluetoothDisableCommandPacket& /*packet*/, LinkTime /*now*/) {
  BluetoothView& bluetooth = panel.state.bluetooth;
  bluetooth.isEnabled = false;
  bluetooth.isScanning = false;
  for (SoundDeviceView& device : bluetooth.devices) device.isConnected = false;
}

void on(Panel& panel, const BluetoothScanCommandPacket& packet, LinkTime /*now*/) {
  BluetoothView& bluetooth = panel.state.bluetooth;
  bluetooth.isScanning = packet.enable() && bluetooth.isEnabled;
}

void on(Panel& panel, const BluetoothConnectionCommandPacket& packet, LinkTime /*now*/) {
  deviceAt(panel, presentText(packet.address())).isWanted = packet.isConnectionRequired();
}

void on(Panel& panel, const BluetoothPairingCommandPacket& packet, LinkTime /*now*/) {
  panel.state.bluetooth.pairing = codeOf(packet.pairingType(), panel.options.codes.pairings);
  static_cast<void>(deviceAt(panel, presentText(packet.soundDeviceAddress())));
}

void on(Panel& panel, const UartConnectionCheckCommandPacket& /*packet*/, LinkTime /*now*/) {
  ++panel.state.link.lineChecks;
}

void on(Panel& panel, const VarnoModeCommandPacket& packet, LinkTime /*now*/) {
  panel.state.link.phone = {packet.mode(), DisplayCodes::phone(packet.mode())};
}

void on(Panel& panel, const FullScreenCommandPacket& packet, LinkTime /*now*/) {
  panel.state.picture.isFullScreen = packet.isFullScreen();
}

void on(Panel& panel, const NotiTimeoutCommandPacket& packet, LinkTime /*now*/) {
  panel.state.notices.timeoutSeconds = packet.timeout();
}

void on(Panel& panel, const DisplayBrightnessCommandPacket& packet, LinkTime /*now*/) {
  panel.state.picture.isBacklightOn = packet.isBacklightEnabled();
}

void on(Panel& panel, const DisplaySpeedCommandPacket& packet, LinkTime /*now*/) {
  panel.state.speed.isVisible = packet.isSpeedInformationVisible();
}

void on(Panel& panel, const DisplayTimeCommandPacket& packet, LinkTime /*now*/) {
  panel.state.clock.isVisible = packet.isEnable();
}

void on(Panel& panel, const DisplaySpeedUnitsCommandPacket& packet, LinkTime /*now*/) {
  panel.state.speed.unit = DisplayCodes::speedUnit(packet.speedUnitType());
}

void on(Panel& panel, const DisplayNotificationInitSettingCommandPacket& /*packet*/,
        LinkTime /*now*/) {
  panel.state.notices.settings = initialNoticeSettings(panel.options.codes);
}

void on(Panel& panel, const DisplayNotificationCommandPacket& packet, LinkTime /*now*/) {
  panel.state.notices.isEnabled = packet.enable();
}

void on(Panel& panel, const DisplayNotificationSettingCommandPacket& packet, LinkTime /*now*/) {
  setNoticeSetting(panel, packet);
}

void on(Panel& panel, const DisplaySpeedWarningCommandPacket& packet, LinkTime /*now*/) {
  panel.state.speed.warningAt = packet.speed();
  updateSpeedWarning(panel.state.speed);
}

void on(Panel& panel, const DisplaySpeedColorCommandPacket& packet, LinkTime /*now*/) {
  panel.state.speed.color = DisplayCodes::color(packet.textColor());
}

void on(Panel& panel, const DisplayThemeCommandPacket& packet, LinkTime /*now*/) {
  panel.state.picture.theme = codeOf(packet.theme(), panel.options.codes.themes);
}

void on(Panel& panel, const DisplaySpeedGaugeCommandPacket& packet, LinkTime /*now*/) {
  panel.state.speed.isGaugeVisible = packet.isSpeedGaugeVisible();
}

void on(Panel& panel, const SoftwareUpdateCommandPacket& packet, LinkTime /*now*/) {
  DeviceView& device = panel.state.device;
  device.update = packet.size() > 0 ? "waiting" : "refused";
  device.updateSize = packet.size();
  device.updatePercent = 0;
}

void on(Panel& panel, const SoftwareUpdateCancelCommandPacket& /*packet*/, LinkTime /*now*/) {
  std::string& update = panel.state.device.update;
  if (update == "waiting" || update == "running") update = "canceled";
}

void on(Panel& panel, const GpsStatusCommandPacket& packet, LinkTime /*now*/) {
  panel.state.sensors.isGpsReliable = !packet.isUnreliable();
}

void on(Panel& panel, const HudDisconnectCommandPacket& /*packet*/, LinkTime /*now*/) {
  panel.state.link.saidGoodbye = true;
}

void on(Panel& panel, const HudResetCommandPacket& packet, LinkTime /*now*/) {
  const std::int32_t resets = panel.state.device.resets + 1;
  panel.restart();
  panel.state.device.resets = resets;
  panel.state.device.lastReset = codeOf(packet.resetType(), panel.options.codes.resets);
}

void on(Panel& panel, const LayoutSizeCommandPacket& packet, LinkTime /*now*/) {
  panel.state.picture.layoutSize = packet.layoutSize();
}

void on(Panel& panel, const KeepAliveCommandPacket& /*packet*/, LinkTime /*now*/) {
  panel.state.link.isPhoneAlive = true;
}

void on(Panel& panel, const WifiStationModeCommandPacket& packet, LinkTime /*now*/) {
  WifiView& wifi = panel.state.wifi;
  wifi.ssid = presentText(packet.ssid());
  wifi.hasPassword = !presentText(packet.password()).empty();
  wifi.security = codeOf(packet.securityType(), panel.options.codes.wifiSecurities);
  wifi.isJoining = true;
}

void on(Panel& panel, const OBDIIConnectionCommandPacket& packet, LinkTime /*now*/) {
  panel.state.sensors.isObd2Wanted = packet.shouldConnectToOBDII();
}

void on(Panel& panel, const HudHotspotBasebandCommandPacket& packet, LinkTime /*now*/) {
  panel.state.wifi.isHotspot5GHz = packet.is5G();
  panel.state.wifi.isHotspotBandForced = packet.forceEnable();
}

void on(Panel& panel, const BluetoothStatusEventPacket& packet, LinkTime /*now*/) {
  panel.state.bluetooth.status = codeOf(packet.statusType(), panel.options.codes.bluetoothStatuses);
}

void on(Panel& panel, const BluetoothConnectionEventPacket& packet, LinkTime /*now*/) {
  noteDevice(panel, packet.soundDevice()).event =
      codeOf(packet.event(), panel.options.codes.bluetoothEvents);
}

void on(Panel& panel, const BluetoothDeviceFoundEventPacket& packet, LinkTime /*now*/) {
  static_cast<void>(noteDevice(panel, packet.soundDevice()));
}

void on(Panel& panel, const BluetoothPairingEventPacket& packet, LinkTime /*now*/) {
  panel.state.bluetooth.pairing = codeOf(packet.pairingType(), panel.options.codes.pairings);
  deviceAt(panel, presentText(packet.soundDeviceAddress())).isPaired = true;
}

void on(Panel& panel, const VarnoAppStartEventPacket& packet, LinkTime /*now*/) {
  panel.state.link.isAppStarted = packet.isVarnoAppStart();
}

void on(Panel& panel, const VarnoAppConnectionEventPacket& packet, LinkTime /*now*/) {
  panel.state.link.isAppConnected = packet.isVarnoAppConnected();
}

void on(Panel& panel, const SoftwareUpdateEventPacket& /*packet*/, LinkTime /*now*/) {
  if (panel.state.device.update == "waiting") panel.state.device.update = "running";
}

void on(Panel& panel, const HudVersionEventPacket& packet, LinkTime /*now*/) {
  DeviceView& device = panel.state.device;
  device.modelName = presentText(packet.modelName());
  device.systemVersion = presentText(packet.systemVersion());
  device.bleVersion = presentText(packet.bleVersion());
}

void on(Panel& panel, const WifiStationStatusEventPacket& packet, LinkTime /*now*/) {
  WifiView& wifi = panel.state.wifi;
  wifi.isJoining = false;
  wifi.status = codeOf(packet.eventType(), panel.options.codes.wifiStatuses);
  wifi.errorMessage = presentText(packet.errorMessage());
  wifi.ipAddress = presentText(packet.ipAddress());
}

struct Row {
  PacketEffect effect;
  std::int32_t id;
  void (*apply)(Panel& panel, const HudPacket& packet, LinkTime now);  // null: nothing happens
};

std::int32_t idOf(PacketIdentifiers identifiers) {
  return (identifiers.command << 16) | (identifiers.param1 << 8) | identifiers.param2;
}

template <class Packet>
Row row(std::string_view effect) {
  const PacketType type = PacketType::of<Packet>();
  return {{type, effect},
          idOf(type.identifiers()),
          [](Panel& panel, const HudPacket& packet, LinkTime now) {
            // An application's type may have the identifiers of one of the library's.
            const auto* const known = dynamic_cast<const Packet*>(&packet);
            if (known != nullptr) on(panel, *known, now);
          }};
}

template <class Packet>
Row rowWithoutEffect(std::string_view reason) {
  const PacketType type = PacketType::of<Packet>();
  return {{type, reason, false}, idOf(type.identifiers()), nullptr};
}

// By packet id.
const std::vector<Row>& rows() {
  static const std::vector<Row>& rows = *new std::vector<Row>{
      row<InCommingCallNotificationPacket>("shows the call; one without any text ends it"),
      row<SocialNotificationPacket>("shows the message, with icon and color, until its time-out"),
      row<MusicNotificationPacket>("shows the music; one without any text ends it"),
      row<Obd2NotificationPacket>("shows what the car tells; one without any text ends it"),
      row<SpeedNotificationPacket>("tells the speed, which is shown where that is switched on"),
      row<SystemTimeCommandPacket>("sets the clock"),
      row<MinBrightnessCommandPacket>("sets the lowest brightness"),
      row<VarnoCastMinBrightnessCommandPacket>("sets the lowest brightness of a cast screen"),
      row<KeyStoneCommandPacket>("sets the keystone correction"),
      row<BluetoothEnableCommandPacket>("switches Bluetooth on"),
      row<BluetoothDisableCommandPacket>("switches Bluetooth off, which disconnects all devices"),
      row<BluetoothScanCommandPacket>("starts or ends a scan, where Bluetooth is on"),
      row<BluetoothConnectionCommandPacket>("notes which device is to be connected"),
      row<BluetoothPairingCommandPacket>("notes which device is to be paired; not the key"),
      row<UartConnectionCheckCommandPacket>("counts the checks of the line"),
      row<VarnoModeCommandPacket>("tells the phone's platform"),
      row<FullScreenCommandPacket>("switches full screen on or off"),
      row<NotiTimeoutCommandPacket>("sets the time-out of the notices that come from now on"),
      row<DisplayBrightnessCommandPacket>("switches the backlight on or off"),
      row<DisplaySpeedCommandPacket>("shows or hides the speed"),
      row<DisplayTimeCommandPacket>("shows or hides the clock"),
      row<DisplaySpeedUnitsCommandPacket>("sets the speed's unit"),
      row<DisplayNotificationInitSettingCommandPacket>(
          "sets which notices are shown, and how, as it was at first"),
      row<DisplayNotificationCommandPacket>("switches all notices on or off"),
      row<DisplayNotificationSettingCommandPacket>("sets whether and how an icon's apps are shown"),
      row<DisplaySpeedWarningCommandPacket>("sets the speed from which on it warns"),
      row<DisplaySpeedColorCommandPacket>("sets the speed's color"),
      row<DisplayThemeCommandPacket>("sets the theme"),
      row<DisplaySpeedGaugeCommandPacket>("shows or hides the gauge of the speed"),
      row<SoftwareUpdateCommandPacket>("announces an update; one without bytes is refused"),
      row<SoftwareUpdateCancelCommandPacket>("cancels the update"),
      row<GpsStatusCommandPacket>("tells whether GPS is reliable"),
      row<HudDisconnectCommandPacket>("tells that the phone disconnects"),
      row<HudResetCommandPacket>("sets everything but the link as it was at first"),
      row<LayoutSizeCommandPacket>("sets the size of the layout"),
      row<KeepAliveCommandPacket>("tells that the phone is alive"),
      row<WifiStationModeCommandPacket>("notes the network to join; not the password"),
      row<OBDIIConnectionCommandPacket>("tells whether OBD-II is to be connected"),
      row<HudHotspotBasebandCommandPacket>("sets the band of the display's own Wi-Fi network"),
      rowWithoutEffect<UartConnectionEventPacket>(
          "nothing: it confirms a check of the line, which was counted when it came"),
      row<BluetoothStatusEventPacket>("notes the status that was told"),
      row<BluetoothConnectionEventPacket>("notes the device's connection that was told"),
      row<BluetoothDeviceFoundEventPacket>("notes the device that was told"),
      row<BluetoothPairingEventPacket>("notes the device that was told as paired"),
      row<VarnoAppStartEventPacket>("notes that the start of the app was told"),
      row<VarnoAppConnectionEventPacket>("notes that the connection of the app was told"),
      row<SoftwareUpdateEventPacket>("begins the update that was announced"),
      row<HudVersionEventPacket>("notes the versions that were told"),
      row<WifiStationStatusEventPacket>("notes the status that was told; ends the joining"),
  };
  return rows;
}

}  // namespace

std::span<const PacketEffect> packetEffects() {
  static const std::vector<PacketEffect>& effects = []() -> const std::vector<PacketEffect>& {
    auto* const list = new std::vector<PacketEffect>;
    for (const Row& row : rows()) list->push_back(row.effect);
    return *list;
  }();
  return effects;
}

void DisplayPanel::apply(const HudPacket& packet, LinkTime now) {
  const std::int32_t id = idOf({packet.getCommand(), packet.getParam1(), packet.getParam2()});
  const auto found =
      std::lower_bound(rows().begin(), rows().end(), id,
                       [](const Row& row, std::int32_t wanted) { return row.id < wanted; });
  if (found == rows().end() || found->id != id || found->apply == nullptr) return;
  found->apply(*this, packet, now);
}

}  // namespace varno
