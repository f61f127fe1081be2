#include <VarnoDisplay/Private/Answers.h>
#include <VarnoNetwork/Network/PacketTypes.h>

#include <algorithm>
#include <typeinfo>
#include <utility>

namespace varno {
namespace {

constexpr std::string_view kVersionSeparator = "&";

// Null where the packet is of another type.
template <class Packet>
const Packet* as(const HudPacket& packet) {
  return typeid(packet) == typeid(Packet) ? static_cast<const Packet*>(&packet) : nullptr;
}

bool hasSeparator(const HudString& text) {
  return text && text->find(kVersionSeparator) != std::string::npos;
}

std::shared_ptr<BluetoothSoundDevice> soundDevice(const std::string& name,
                                                  const std::string& address, bool isConnected) {
  auto device = std::make_shared<BluetoothSoundDevice>();
  device->setName(name);
  device->setAddress(address);
  device->setIsConnected(isConnected);
  return device;
}

}  // namespace

std::vector<std::uint8_t> displayFrameOf(const HudPacket& packet) {
  const auto* const version = as<HudVersionEventPacket>(packet);
  // Who put a separator in has seen to it.
  if (version == nullptr || hasSeparator(version->modelName()) ||
      hasSeparator(version->systemVersion()) || hasSeparator(version->bleVersion())) {
    return frameOf(packet);
  }
  HudVersionEventPacket readable = *version;
  readable.setSystemVersion(version->systemVersion().value_or("").append(kVersionSeparator));
  return frameOf(readable);
}

void DisplayAnswers::setOn(DisplayAnswer answer, bool isOn) {
  if (isOn) {
    switchedOff_.erase(answer);
  } else {
    switchedOff_.insert(answer);
    if (answer == DisplayAnswer::kKeepAliveWatch) keepAliveDue_.reset();
  }
}

void DisplayAnswers::later(DisplayAnswer answer, LinkTime time, Agenda::Task task) {
  if (isOn(answer)) agenda_.at(time, std::move(task));
}

void DisplayAnswers::linkUp(LinkTime now) {
  keepAlive(now);
  later(DisplayAnswer::kVersion, now + options_.delays.version, [this] {
    HudVersionEventPacket version;
    version.setModelName(panel_.state.device.modelName);
    version.setSystemVersion(panel_.state.device.systemVersion);
    version.setBleVersion(panel_.state.device.bleVersion);
    actions_.send(version);
  });
}

void DisplayAnswers::linkDown() {
  agenda_.clear();
  keepAliveDue_.reset();
  DisplayState& state = panel_.state;
  state.bluetooth.isScanning = false;
  state.wifi.isJoining = false;
  if (state.device.update == "waiting" || state.device.update == "running") {
    state.device.update = "failed";
  }
}

void DisplayAnswers::keepAlive(LinkTime now) {
  if (isOn(DisplayAnswer::kKeepAliveWatch)) keepAliveDue_ = now + options_.delays.keepAlive;
}

void DisplayAnswers::answer(const HudPacket& packet, LinkTime now) {
  const DisplayDelays& delays = options_.delays;
  if (as<BluetoothEnableCommandPacket>(packet) != nullptr ||
      as<BluetoothDisableCommandPacket>(packet) != nullptr) {
    later(DisplayAnswer::kBluetoothStatus, now + delays.bluetoothStatus,
          [this, isEnabled = panel_.state.bluetooth.isEnabled] {
            BluetoothStatusEventPacket status;
            status.setStatusType(isEnabled ? 1 : 0);
            actions_.send(status);
          });
  } else if (as<BluetoothScanCommandPacket>(packet) != nullptr) {
    scan(now);
  } else if (as<BluetoothPairingCommandPacket>(packet) != nullptr) {
    pair(packet, now);
  } else if (as<BluetoothConnectionCommandPacket>(packet) != nullptr) {
    connect(packet, now);
  } else if (as<WifiStationModeCommandPacket>(packet) != nullptr) {
    join(now);
  } else if (as<UartConnectionCheckCommandPacket>(packet) != nullptr) {
    later(DisplayAnswer::kLineCheck, now + delays.lineCheck,
          [this] { actions_.send(UartConnectionEventPacket()); });
  } else if (const auto* const update = as<SoftwareUpdateCommandPacket>(packet)) {
    if (update->size() <= 0) return;
    later(DisplayAnswer::kUpdate, now + delays.updateReady, [this] {
      if (panel_.state.device.update == "waiting") actions_.send(SoftwareUpdateEventPacket());
    });
  } else if (as<HudDisconnectCommandPacket>(packet) != nullptr) {
    later(DisplayAnswer::kHangUp, now + delays.hangUp, [this] { actions_.hangUp(HangUp::kClose); });
  } else if (as<HudResetCommandPacket>(packet) != nullptr) {
    later(DisplayAnswer::kRestart, now + delays.restart,
          [this] { actions_.hangUp(HangUp::kClose); });
  }
}

void DisplayAnswers::scan(LinkTime now) {
  const std::uint64_t number = ++scans_;  // a scan that is begun or ended ends the one before
  if (!panel_.state.bluetooth.isScanning) return;
  LinkTime due = now;
  for (const DisplayOptions::Device& device : options_.devices) {
    due += options_.delays.eachDeviceFound;
    later(DisplayAnswer::kDevicesFound, due, [this, number, device] {
      if (number != scans_ || !panel_.state.bluetooth.isScanning) return;
      const std::vector<SoundDeviceView>& known = panel_.state.bluetooth.devices;
      const bool isConnected =
          std::any_of(known.begin(), known.end(), [&](const SoundDeviceView& view) {
            return view.address == device.address && view.isConnected;
          });
      BluetoothDeviceFoundEventPacket found;
      found.setSoundDevice(soundDevice(device.name, device.address, isConnected));
      actions_.send(found);
    });
  }
  agenda_.at(now + options_.delays.scan, [this, number] {
    if (number == scans_) panel_.state.bluetooth.isScanning = false;
  });
}

void DisplayAnswers::pair(const HudPacket& packet, LinkTime now) {
  const auto& command = static_cast<const BluetoothPairingCommandPacket&>(packet);
  BluetoothPairingEventPacket paired;
  paired.setPairingType(command.pairingType());
  paired.setSoundDeviceAddress(command.soundDeviceAddress());
  later(DisplayAnswer::kPairing, now + options_.delays.pairing,
        [this, paired] { actions_.send(paired); });
}

void DisplayAnswers::connect(const HudPacket& packet, LinkTime now) {
  const auto& command = static_cast<const BluetoothConnectionCommandPacket&>(packet);
  later(
      DisplayAnswer::kConnection, now + options_.delays.connection,
      [this, address = command.address().value_or(""), isWanted = command.isConnectionRequired()] {
        std::string name;
        for (const SoundDeviceView& device : panel_.state.bluetooth.devices) {
          if (device.address == address) name = device.name;
        }
        const bool canConnect = panel_.state.bluetooth.isEnabled && !address.empty();
        const bool isConnected = isWanted && canConnect;
        BluetoothConnectionEventPacket event;
        event.setSoundDevice(soundDevice(name, address, isConnected));
        event.setEvent(isConnected ? 1 : isWanted ? 2 : 0);
        actions_.send(event);
      });
}

void DisplayAnswers::join(LinkTime now) {
  later(DisplayAnswer::kWifiStatus, now + options_.delays.wifi, [this] {
    WifiStationStatusEventPacket status;
    if (panel_.state.wifi.ssid.empty()) {
      status.setEventType(2);
      status.setErrorMessage("no network is named");
    } else {
      status.setEventType(1);
      status.setIpAddress(options_.wifiAddress);
    }
    actions_.send(status);
  });
}

void DisplayAnswers::sent(const HudPacket& packet, LinkTime now) {
  DeviceView& device = panel_.state.device;
  if (as<SoftwareUpdateEventPacket>(packet) == nullptr || device.update != "running") return;
  using std::chrono::milliseconds;
  constexpr std::int64_t kSteps = 10;
  const std::int64_t bytesPerSecond = std::max<std::int64_t>(options_.updateBytesPerSecond, 1);
  const std::int64_t seconds =
      std::clamp<std::int64_t>(device.updateSize / bytesPerSecond, 1, 3600);
  const std::uint64_t number = ++updates_;
  for (std::int64_t step = 1; step <= kSteps; ++step) {
    agenda_.at(now + milliseconds(seconds * 1000 * step / kSteps), [this, number, step] {
      DeviceView& running = panel_.state.device;
      if (number != updates_ || running.update != "running") return;
      running.updatePercent = static_cast<std::int32_t>(step * 100 / kSteps);
      if (step == kSteps) running.update = "done";
    });
  }
}

std::optional<LinkTime> DisplayAnswers::nextDue() const {
  const std::optional<LinkTime> task = agenda_.nextDue();
  if (!task || !keepAliveDue_) return task ? task : keepAliveDue_;
  return std::min(*task, *keepAliveDue_);
}

void DisplayAnswers::runDue(LinkTime now) {
  while (std::optional<Agenda::Task> task = agenda_.takeDue(now)) (*task)();
  if (!keepAliveDue_ || *keepAliveDue_ > now) return;
  keepAlive(now);
  LinkView& link = panel_.state.link;
  link.isPhoneAlive = false;
  ++link.missedKeepAlives;
  actions_.note("no keep-alive for " + std::to_string(options_.delays.keepAlive.count()) + " ms");
}

}  // namespace varno
