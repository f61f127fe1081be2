#include <VarnoNetwork/Network/PacketCatalogue.h>
#include <VarnoNetwork/Network/PacketTypes.h>

#include <algorithm>
#include <mutex>
#include <new>

namespace varno {
namespace {

// The packet types of the library, by packet id. The family bases are missing: they have no
// identifiers, so a network would leave them out.
std::vector<PacketType> libraryTypes() {
  return {
      PacketType::of<InCommingCallNotificationPacket>(),
      PacketType::of<SocialNotificationPacket>(),
      PacketType::of<MusicNotificationPacket>(),
      PacketType::of<Obd2NotificationPacket>(),
      PacketType::of<SpeedNotificationPacket>(),
      PacketType::of<SystemTimeCommandPacket>(),
      PacketType::of<MinBrightnessCommandPacket>(),
      PacketType::of<VarnoCastMinBrightnessCommandPacket>(),
      PacketType::of<KeyStoneCommandPacket>(),
      PacketType::of<BluetoothEnableCommandPacket>(),
      PacketType::of<BluetoothDisableCommandPacket>(),
      PacketType::of<BluetoothScanCommandPacket>(),
      PacketType::of<BluetoothConnectionCommandPacket>(),
      PacketType::of<BluetoothPairingCommandPacket>(),
      PacketType::of<UartConnectionCheckCommandPacket>(),
      PacketType::of<VarnoModeCommandPacket>(),
      PacketType::of<FullScreenCommandPacket>(),
      PacketType::of<NotiTimeoutCommandPacket>(),
      PacketType::of<DisplayBrightnessCommandPacket>(),
      PacketType::of<DisplaySpeedCommandPacket>(),
      PacketType::of<DisplayTimeCommandPacket>(),
      PacketType::of<DisplaySpeedUnitsCommandPacket>(),
      PacketType::of<DisplayNotificationInitSettingCommandPacket>(),
      PacketType::of<DisplayNotificationCommandPacket>(),
      PacketType::of<DisplayNotificationSettingCommandPacket>(),
      PacketType::of<DisplaySpeedWarningCommandPacket>(),
      PacketType::of<DisplaySpeedColorCommandPacket>(),
      PacketType::of<DisplayThemeCommandPacket>(),
      PacketType::of<DisplaySpeedGaugeCommandPacket>(),
      PacketType::of<SoftwareUpdateCommandPacket>(),
      PacketType::of<SoftwareUpdateCancelCommandPacket>(),
      PacketType::of<GpsStatusCommandPacket>(),
      PacketType::of<HudDisconnectCommandPacket>(),
      PacketType::of<HudResetCommandPacket>(),
      PacketType::of<LayoutSizeCommandPacket>(),
      PacketType::of<KeepAliveCommandPacket>(),
      PacketType::of<WifiStationModeCommandPacket>(),
      PacketType::of<OBDIIConnectionCommandPacket>(),
      PacketType::of<HudHotspotBasebandCommandPacket>(),
      PacketType::of<UartConnectionEventPacket>(),
      PacketType::of<BluetoothStatusEventPacket>(),
      PacketType::of<BluetoothConnectionEventPacket>(),
      PacketType::of<BluetoothDeviceFoundEventPacket>(),
      PacketType::of<BluetoothPairingEventPacket>(),
      PacketType::of<VarnoAppStartEventPacket>(),
      PacketType::of<VarnoAppConnectionEventPacket>(),
      PacketType::of<SoftwareUpdateEventPacket>(),
      PacketType::of<HudVersionEventPacket>(),
      PacketType::of<WifiStationStatusEventPacket>(),
  };
}

struct Registrations {
  std::mutex mutex;
  std::vector<PacketType> types;  // a type that is registered twice stands here twice
};

// Never destroyed: static registrations may be destroyed after every other static object.
Registrations& registrations() {
  static Registrations& registrations = *new Registrations;
  return registrations;
}

// Whether the two are one class. Equal types may be two classes: see PacketType::isIdenticalTo.
bool isOneClass(PacketType left, PacketType right) {
  if (left.isIdenticalTo(right)) return true;
  if (!(left == right) || left.name() != right.name()) return false;
  try {
    return left.identifiers() == right.identifiers();
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    return true;  // no network takes either
  }
}

}  // namespace

std::vector<PacketType> PacketCatalogue::packetTypes() {
  std::vector<PacketType> types = libraryTypes();
  Registrations& registered = registrations();
  const std::lock_guard lock(registered.mutex);
  for (const PacketType type : registered.types) {
    const auto isListed = [type](PacketType listed) { return isOneClass(listed, type); };
    if (std::none_of(types.begin(), types.end(), isListed)) types.push_back(type);
  }
  return types;
}

void PacketCatalogue::add(PacketType type) {
  Registrations& registered = registrations();
  const std::lock_guard lock(registered.mutex);
  registered.types.push_back(type);
}

void PacketCatalogue::remove(PacketType type) noexcept {
  Registrations& registered = registrations();
  const std::lock_guard lock(registered.mutex);
  const auto found = std::find_if(registered.types.begin(), registered.types.end(),
                                  [type](PacketType listed) { return listed.isIdenticalTo(type); });
  if (found != registered.types.end()) registered.types.erase(found);
}

}  // namespace varno
