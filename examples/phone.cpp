// The phone's side of the demo: an application as a user of the library would write it.
//
//   phone ADDRESS    where the display is: unix:///run/display, tcp://192.168.43.1:4711, ...

#include "DemoLog.h"
#include "PhoneListeners.h"

#include <VarnoLink/VarnoLink.h>
#include <VarnoNetwork/VarnoNetwork.h>

namespace varno::example {
namespace {

class Phone {
 public:
  explicit Phone(const Address& display)
      : network_(display, {.onStatus = [this](const LinkStatus& status) {
                   isUp_ = status.state == LinkState::kUp;
                 }}) {
    network_.registerPacketHandleDelegate(inbox_);
    network_.start();
  }

  // Throws std::runtime_error if something that was expected did not arrive.
  void run() {
    runUntil("the display", [this] { return isUp_; });
    send(with(&SystemTimeCommandPacket::setTimeInMillis, 1'500'000'000'000));
    require(await<HudVersionEventPacket>()->systemVersion() == "2.1", "another version");
    send(KeepAliveCommandPacket());
    WifiStationModeCommandPacket station;
    station.setSsid("Garage");
    station.setPassword("not-a-real-password");
    send(station);
    await<WifiStationStatusEventPacket>();
    connectSpeaker();
    send(with(&DisplayThemeCommandPacket::setTheme, 2));
    send(with(&DisplaySpeedWarningCommandPacket::setSpeed, 130));
    send(with(&KeyStoneCommandPacket::setKeyStone, 0.5F));
    InCommingCallNotificationPacket call;
    call.setTitle("Ada");
    send(call);
    SocialNotificationPacket message;
    message.setMessage(std::string(20'000, '}'));  // far longer than what a line takes at once
    send(message);
    checkLine();
    sayGoodbye();
  }

 private:
  void runUntil(const std::string& what, const std::function<bool()>& isDone) {
    require(tasks_.runUntil(deadline_, isDone), "in vain: " + what);
  }

  void send(const HudPacket& packet) {
    HudLog::write("-> " + packet.description());
    require(network_.sendPacket(packet), "the link does not take the frame");
  }

  // Runs listeners until a packet of the type has come, and takes it.
  template <class Packet>
  std::shared_ptr<Packet> await() {
    std::shared_ptr<Packet> packet;
    runUntil(std::string(Packet::kTypeName), [&] { return !!(packet = inbox_->take<Packet>()); });
    return packet;
  }

  void connectSpeaker() {
    send(with(&BluetoothScanCommandPacket::setEnable, true));
    await<BluetoothDeviceFoundEventPacket>();
    const auto speaker = await<BluetoothDeviceFoundEventPacket>()->soundDevice();
    auto connection = with(&BluetoothConnectionCommandPacket::setAddress, speaker->address());
    connection.setIsConnectionRequired(true);
    send(connection);
    require(await<BluetoothConnectionEventPacket>()->soundDevice()->isConnected(), "not connected");
  }

  // The display disturbs the line in all its ways, and sends a status after each.
  void checkLine() {
    send(UartConnectionCheckCommandPacket());
    await<UartConnectionEventPacket>();
    std::int32_t statuses = 0;
    while (const auto status = inbox_->take<BluetoothStatusEventPacket>())
      require(status->statusType() == ++statuses, "a status was lost on the disturbed line");
  }

  void sayGoodbye() {
    send(HudDisconnectCommandPacket());
    runUntil("the end of the link", [this] { return !isUp_; });

    const FrameInboxCounters found = network_.linkCounters().received;
    HudLog::write("   " + std::to_string(inbox_->received()) + " packets received, " +
                  std::to_string(found.pieces.skippedBytes) + " bytes dropped");
    // What demo.varno puts on the line.
    require(inbox_->received() == 12 && found.refusedFrames == 1 && found.pieces.noiseBytes == 6 &&
                found.pieces.tornFrames == 1 && found.pieces.shortFrames == 1,
            "something else came than was sent");
  }

  const std::chrono::steady_clock::time_point deadline_ =
      std::chrono::steady_clock::now() + std::chrono::seconds(10);  // for all of it
  bool isUp_ = false;
  const std::shared_ptr<Inbox> inbox_ = std::make_shared<Inbox>();
  MainThreadDescriptor tasks_;
  LinkNetwork network_;
};

}  // namespace
}  // namespace varno::example

int main(int argc, char** argv) {
  varno::example::logAs("phone");
  try {
    if (argc != 2) throw std::invalid_argument("usage: phone ADDRESS");
    varno::example::Phone(varno::Address::parse(argv[1])).run();
    return 0;
  } catch (const std::exception& exception) {
    varno::HudLog::write(std::string("failed: ") + exception.what());
    return 1;
  }
}
