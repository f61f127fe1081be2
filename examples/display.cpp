// The display's side of the demo: stands in for the unit, with the same library.
//
//   display ADDRESS    where the phone comes: unix-listen:///run/display, pty://, ...

#include "DemoLog.h"
#include "LinkReport.h"

#include <VarnoLink/VarnoLink.h>
#include <VarnoNetwork/VarnoNetwork.h>

#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace varno::example {
namespace {

constexpr std::chrono::seconds kTimeLimit{10};  // for the whole run

using Bytes = std::vector<std::uint8_t>;

class Display {
 public:
  explicit Display(const Address& address);

  // Answers the phone until it says goodbye. Throws std::runtime_error if it never does, or if
  // something that it sent was lost.
  void run();

 private:
  template <class Packet>
  void on(void (Display::*answer)(const Packet& packet));

  void answerTime(const SystemTimeCommandPacket& time);
  void answerWifi(const WifiStationModeCommandPacket& station);
  void answerScan(const BluetoothScanCommandPacket& scan);
  void answerPairing(const BluetoothPairingCommandPacket& pairing);
  void answerConnection(const BluetoothConnectionCommandPacket& connection);
  void answerLineCheck(const UartConnectionCheckCommandPacket& check);
  void answerReport(const LinkReportCommandPacket& report);
  void answerGoodbye(const HudDisconnectCommandPacket& goodbye);

  void send(const HudPacket& packet);
  void put(const Bytes& bytes);
  void disturb(const std::string& what, const Bytes& bytes, std::int32_t& count,
               std::int32_t amount = 1);

  const std::chrono::steady_clock::time_point deadline_ =
      std::chrono::steady_clock::now() + kTimeLimit;
  std::int32_t received_ = 0;
  std::uint8_t statuses_ = 0;
  LinkReportEventPacket::Counts sent_;
  bool isOver_ = false;
  std::string failure_;  // empty while there is none
  const std::shared_ptr<PacketRouter> router_ = std::make_shared<PacketRouter>();
  std::vector<PacketRouter::Subscription> subscriptions_;

  MainThreadDescriptor tasks_;
  LinkNetwork network_;
};

Display::Display(const Address& address)
    : network_(address, {.onStatus =
                             [this](const LinkStatus& status) {
                               const bool isDown = status.state == LinkState::kDown;
                               if (isDown && failure_.empty()) failure_ = status.reason;
                             },
                         .sends = Direction::kToPhone}) {
  subscriptions_.push_back(router_->onEvery([this](const HudPacket& packet) {
    HudLog::write("<- " + packet.description());
    ++received_;
    network_.setDumpReceivePacket(false);
  }));
  on(&Display::answerTime);
  on(&Display::answerWifi);
  on(&Display::answerScan);
  on(&Display::answerPairing);
  on(&Display::answerConnection);
  on(&Display::answerLineCheck);
  on(&Display::answerReport);
  on(&Display::answerGoodbye);
  network_.registerPacketHandleDelegate(router_);
  network_.setDumpReceivePacket(true);  // the first frame as it comes in
  network_.start();
}

template <class Packet>
void Display::on(void (Display::*answer)(const Packet& packet)) {
  subscriptions_.push_back(
      router_->on<Packet>([this, answer](const Packet& packet) { (this->*answer)(packet); }));
}

void Display::run() {
  const bool inTime = tasks_.runUntil(deadline_, [this] { return isOver_ || !failure_.empty(); });
  if (!inTime) failure_ = "the phone did not say goodbye in time";
  if (!failure_.empty()) throw std::runtime_error(failure_);
  HudLog::write("   sent " + std::to_string(sent_.framesSent) + ", received " +
                std::to_string(received_) + ", dropped " +
                std::to_string(network_.linkCounters().received.pieces.skippedBytes) +
                " bytes; hangs up");
}

void Display::send(const HudPacket& packet) {
  HudLog::write("-> " + packet.description());
  if (!network_.sendPacket(packet)) failure_ = "the link takes no frame";
  ++sent_.framesSent;
}

void Display::put(const Bytes& bytes) {
  if (!network_.sendPacketImpl(bytes)) failure_ = "the link takes no bytes";
}

void Display::answerTime(const SystemTimeCommandPacket& /*time*/) {
  HudVersionEventPacket version;
  version.setModelName("HUD");
  // The library separates the versions by "&" when it reads, but writes none between them; a unit's
  // own software does. So here the text contains it.
  version.setSystemVersion("2.1&");
  version.setBleVersion("1.4");
  send(version);
}

void Display::answerWifi(const WifiStationModeCommandPacket& station) {
  HudLog::write("   joins " + station.ssid().value_or("no network"));
  WifiStationStatusEventPacket status;
  status.setEventType(1);
  status.setIpAddress("192.0.2.17");
  send(status);
}

void Display::answerScan(const BluetoothScanCommandPacket& scan) {
  if (!scan.enable()) return;
  const struct {
    const char* name;
    const char* address;
  } devices[] = {{"Headset", "00:00:5E:00:53:01"}, {"Car speaker", "00:00:5E:00:53:02"}};
  for (const auto& device : devices) {
    BluetoothDeviceFoundEventPacket found;
    found.soundDevice()->setName(device.name);
    found.soundDevice()->setAddress(device.address);
    send(found);
  }
}

void Display::answerPairing(const BluetoothPairingCommandPacket& pairing) {
  BluetoothPairingEventPacket paired;
  paired.setPairingType(pairing.pairingType());
  paired.setSoundDeviceAddress(pairing.soundDeviceAddress());
  send(paired);
}

void Display::answerConnection(const BluetoothConnectionCommandPacket& connection) {
  BluetoothConnectionEventPacket connected;
  connected.soundDevice()->setAddress(connection.address());
  connected.soundDevice()->setIsConnected(connection.isConnectionRequired());
  connected.setEvent(1);
  send(connected);
}

// Disturbs the line as real ones are disturbed. The frame that follows each disturbance is good and
// must arrive.
void Display::answerLineCheck(const UartConnectionCheckCommandPacket& /*check*/) {
  Bytes noise;
  for (std::uint8_t byte = 0xFF; byte > STX; --byte) noise.push_back(byte);
  disturb("a burst of noise", noise, sent_.noiseBytes, static_cast<std::int32_t>(noise.size()));

  Bytes torn = frameOf(WifiStationStatusEventPacket());
  torn.resize(torn.size() / 2);
  disturb("a frame that breaks off", torn, sent_.tornFrames);
  disturb("a frame without identifiers", {STX, 0x00, ETX}, sent_.shortFrames);
  disturb("a frame of a type that nobody knows", {STX, 9, 9, 9, ETX}, sent_.unknownFrames);
  disturb("a frame with two identifiers", {STX, 0x7D, 0x7F, 15, ETX}, sent_.brokenFrames);

  BluetoothStatusEventPacket status;
  status.setStatusType(++statuses_);
  HudLog::write("~~ in two halves: " + status.description());
  const Bytes frame = frameOf(status);
  const auto middle = frame.begin() + static_cast<std::ptrdiff_t>(frame.size() / 2);
  put(Bytes(frame.begin(), middle));
  std::this_thread::sleep_for(std::chrono::milliseconds(50));  // so that they arrive one by one
  put(Bytes(middle, frame.end()));
  ++sent_.framesSent;

  send(UartConnectionEventPacket());
}

void Display::disturb(const std::string& what, const Bytes& bytes, std::int32_t& count,
                      std::int32_t amount) {
  HudLog::write("~~ " + what + ": " + std::to_string(bytes.size()) + " bytes");
  put(bytes);
  count += amount;
  BluetoothStatusEventPacket status;
  status.setStatusType(++statuses_);
  send(status);
}

void Display::answerReport(const LinkReportCommandPacket& report) {
  if (report.framesSent() != received_) {
    failure_ = "only " + std::to_string(received_) + " packets arrived";
    return;
  }
  LinkReportEventPacket::Counts counts = sent_;
  ++counts.framesSent;  // this one
  LinkReportEventPacket answer;
  answer.setCounts(counts);
  send(answer);
}

void Display::answerGoodbye(const HudDisconnectCommandPacket& /*goodbye*/) { isOver_ = true; }

}  // namespace
}  // namespace varno::example

int main(int argc, char** argv) {
  using varno::HudLog;
  varno::example::logAs("display");
  try {
    if (argc != 2) throw std::invalid_argument("usage: display ADDRESS");
    varno::example::Display(varno::Address::parse(argv[1])).run();
    return 0;
  } catch (const std::exception& exception) {
    HudLog::write(std::string("failed: ") + exception.what());
    return 1;
  }
}
