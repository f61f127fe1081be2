// The phone's side of the demo: an application as a user of the library would write it.
//
//   phone DEVICE    the serial device that leads to the display

#include "DemoLog.h"
#include "LinkReport.h"
#include "PhoneListeners.h"
#include "link/DescriptorNetwork.h"
#include "link/FrameReader.h"
#include "link/MainLoop.h"
#include "link/Terminal.h"

#include <VarnoNetwork/VarnoNetwork.h>

#include <exception>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace varno::example {
namespace {

constexpr std::chrono::seconds kTimeLimit{10};  // for all of it

void require(bool isTrue, const std::string& what) {
  if (!isTrue) throw std::runtime_error(what);
}

// A packet with one property set.
template <class Packet, class Value>
Packet with(void (Packet::*set)(Value), std::type_identity_t<Value> value) {
  Packet packet;
  (packet.*set)(std::move(value));
  return packet;
}

class Phone {
 public:
  explicit Phone(const std::string& device);

  // Sends everything to the display. Throws std::runtime_error if something that was expected did
  // not arrive.
  void run();

 private:
  void introduce();
  void joinWifi();
  void connectSpeaker();
  void adjustDisplay();
  void notifyDriver();
  void checkLine();
  void sayGoodbye();
  void checkCounts(const LinkReportEventPacket::Counts& sent);

  void send(const HudPacket& packet);
  void runUntil(const std::function<bool()>& isDone, const std::string& what);
  template <class Packet>
  std::shared_ptr<Packet> await();
  template <class Notification>
  void notify(const std::string& packageName, const std::string& title, const std::string& message);

  const Deadline deadline_ = std::chrono::steady_clock::now() + kTimeLimit;
  std::int32_t sent_ = 0;
  std::string linkEnd_;  // why the link ended; empty while it is up
  const std::shared_ptr<Inbox> inbox_ = std::make_shared<Inbox>();
  const std::shared_ptr<WifiIndicator> wifi_ = std::make_shared<WifiIndicator>();

  // In this order, since each uses those before it.
  Descriptor link_;
  DescriptorNetwork network_;
  FrameReader reader_;
  MainLoop loop_;
};

Phone::Phone(const std::string& device)
    : link_(openSerialDevice(device)),
      network_(link_.number()),
      reader_(network_, link_.number(), [this](const std::string& reason) { linkEnd_ = reason; }) {
  HudLog::write("opens " + device + "; knows " +
                std::to_string(network_.packetIdToClassMap().size()) +
                " packet types, two of them its own");
  network_.registerPacketHandleDelegate(inbox_);
  HudPacketFilter filter;
  filter.addFilter<WifiStationStatusEventPacket>();
  network_.registerPacketHandleDelegate(wifi_, &filter);
  reader_.start();  // after the registrations, which could wait for ever while frames arrive
}

void Phone::run() {
  introduce();
  joinWifi();
  connectSpeaker();
  adjustDisplay();
  notifyDriver();
  checkLine();
  sayGoodbye();
}

void Phone::send(const HudPacket& packet) {
  HudLog::write("-> " + packet.description());
  require(network_.sendPacket(packet), "the link does not take the frame");
  ++sent_;
}

// Runs listeners until isDone.
void Phone::runUntil(const std::function<bool()>& isDone, const std::string& what) {
  bool holds = false;
  loop_.runUntil(deadline_, [&] { return (holds = isDone()) || !linkEnd_.empty(); });
  require(holds, what + ": " + (linkEnd_.empty() ? "time is up" : linkEnd_));
}

// Runs listeners until a packet of the type has come, and takes it.
template <class Packet>
std::shared_ptr<Packet> Phone::await() {
  std::shared_ptr<Packet> packet;
  runUntil([&] { return (packet = inbox_->take<Packet>()) != nullptr; },
           "no " + std::string(Packet::kTypeName) + " arrived");
  return packet;
}

void Phone::introduce() {
  HudLog::write("   sets the clock; this one frame as it goes out:");
  SystemTimeCommandPacket time;
  time.setTimeInMillis(1'500'000'000'000);
  network_.setDumpSendPacket(true);
  send(time);
  network_.setDumpSendPacket(false);
  const auto version = await<HudVersionEventPacket>();
  require(version->modelName() == "HUD" && version->systemVersion() == "2.1" &&
              version->bleVersion() == "1.4",
          "the display's version is not the one expected");
  send(KeepAliveCommandPacket());
}

void Phone::joinWifi() {
  WifiStationModeCommandPacket station;
  station.setSsid("Garage");
  station.setPassword("not-a-real-password");
  send(station);
  const auto status = await<WifiStationStatusEventPacket>();
  // Each listener is called in a task of its own, so the indicator's call may still be to come.
  runUntil([&] { return wifi_->address() == status->ipAddress(); }, "the indicator was not told");
}

void Phone::connectSpeaker() {
  send(BluetoothEnableCommandPacket());
  send(with(&BluetoothScanCommandPacket::setEnable, true));
  await<BluetoothDeviceFoundEventPacket>();
  const auto found = await<BluetoothDeviceFoundEventPacket>();

  BluetoothPairingCommandPacket pairing;
  pairing.setPairingType(1);
  pairing.setSoundDeviceAddress(found->soundDevice()->address());
  pairing.setPairingKey("0000");
  send(pairing);
  await<BluetoothPairingEventPacket>();

  BluetoothConnectionCommandPacket connection;
  connection.setAddress(found->soundDevice()->address());
  connection.setIsConnectionRequired(true);
  send(connection);
  const auto connected = await<BluetoothConnectionEventPacket>();
  require(connected->soundDevice()->isConnected(), "the sound device is not connected");
}

void Phone::adjustDisplay() {
  send(with(&VarnoModeCommandPacket::setMode, 1));
  send(with(&GpsStatusCommandPacket::setIsUnreliable, false));
  send(with(&DisplayThemeCommandPacket::setTheme, 2));
  send(with(&MinBrightnessCommandPacket::setBrightness, 125));
  send(with(&DisplaySpeedCommandPacket::setIsSpeedInformationVisible, true));
  send(with(&DisplaySpeedUnitsCommandPacket::setSpeedUnitType, 0));
  send(with(&DisplaySpeedWarningCommandPacket::setSpeed, 130));
  send(with(&DisplaySpeedColorCommandPacket::setTextColor, 0x39B1EE));
  send(with(&KeyStoneCommandPacket::setKeyStone, 0.5F));
  send(with(&LayoutSizeCommandPacket::setLayoutSize, 1.25F));
  send(with(&NotiTimeoutCommandPacket::setTimeout, 5));
  constexpr std::int32_t kMusicIcon = 3;
  auto music = DisplayNotificationSettingCommandPacket::getDefaultSettingPacketWith(kMusicIcon);
  require(music.has_value(), "the default table has no music");
  music->setEnable(true);
  send(*music);
}

template <class Notification>
void Phone::notify(const std::string& packageName, const std::string& title,
                   const std::string& message) {
  Notification notification;
  notification.setPackageName(packageName);
  notification.setTitle(title);
  notification.setMessage(message);
  send(notification);
}

void Phone::notifyDriver() {
  notify<InCommingCallNotificationPacket>(DEFAULT_CALL_PACKAGE_NAME, "Ada", "is calling");
  notify<MusicNotificationPacket>(DEFAULT_MUSIC_PACKAGE_NAME, "Für Elise", "Beethoven");
  notify<Obd2NotificationPacket>(DEFAULT_OBD2_PACKAGE_NAME, "Engine", "92 °C");
  notify<SpeedNotificationPacket>("com.varno.speed", "", "50");
  HudLog::write("   a message far longer than what the line takes at once:");
  notify<SocialNotificationPacket>(DEFAULT_SMS_PACKAGE_NAME, "Ada", std::string(20'000, '}'));
}

// The display disturbs the line in all its ways, and sends a status after each.
void Phone::checkLine() {
  send(UartConnectionCheckCommandPacket());
  await<UartConnectionEventPacket>();
  std::int32_t statuses = 0;
  while (const auto status = inbox_->take<BluetoothStatusEventPacket>()) {
    require(status->statusType() == ++statuses, "a status was lost on the disturbed line");
  }
  require(statuses > 0, "no status came over the disturbed line");
  HudLog::write("   every good frame came through");
}

void Phone::sayGoodbye() {
  send(with(&LinkReportCommandPacket::setFramesSent, sent_ + 1));
  const auto answer = await<LinkReportEventPacket>();
  send(HudDisconnectCommandPacket());
  runUntil([this] { return !linkEnd_.empty(); }, "the display did not hang up");
  HudLog::write("   " + linkEnd_);

  loop_.quit();  // first, so that the reader's thread waits for nothing
  reader_.stop();
  checkCounts(answer->counts());
}

// Compares what the display put on the line with what was received.
void Phone::checkCounts(const LinkReportEventPacket::Counts& sent) {
  const FrameCutter::Counts& found = reader_.counts();
  const auto failed = static_cast<std::int64_t>(reader_.failedFrames());
  // The network drops frames of unknown types silently.
  const std::int64_t unknown =
      static_cast<std::int64_t>(found.frames) - failed - inbox_->received();
  HudLog::write("   " + std::to_string(sent_) + " packets sent");
  const struct {
    const char* what;
    std::int64_t expected;
    std::int64_t found;
  } rows[] = {
      {"packets received", sent.framesSent, inbox_->received()},
      {"bytes of noise dropped", sent.noiseBytes, static_cast<std::int64_t>(found.noiseBytes)},
      {"torn frames dropped", sent.tornFrames, static_cast<std::int64_t>(found.tornFrames)},
      {"short frames dropped", sent.shortFrames, static_cast<std::int64_t>(found.shortFrames)},
      {"frames of unknown types dropped", sent.unknownFrames, unknown},
      {"frames with broken identifiers refused", sent.brokenFrames, failed},
  };
  for (const auto& row : rows) {
    HudLog::write("   " + std::to_string(row.found) + " " + row.what);
    require(row.found == row.expected, "expected were " + std::to_string(row.expected));
  }
  require(inbox_->isEmpty(), "more packets came than were expected");
}

}  // namespace
}  // namespace varno::example

int main(int argc, char** argv) {
  using varno::HudLog;
  varno::example::logAs("phone");
  try {
    if (argc != 2) throw std::invalid_argument("usage: phone DEVICE");
    varno::example::Phone(argv[1]).run();
    return 0;
  } catch (const std::exception& exception) {
    HudLog::write(std::string("failed: ") + exception.what());
    return 1;
  }
}
