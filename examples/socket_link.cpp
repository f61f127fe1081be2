// A phone that keeps its link to a display, over TCP or a Unix socket, although the display goes
// away in the middle of a frame and comes back. Both ends are in this process. Exit status 0 when
// all went well.
//
//   socket_link ADDRESS    where the display listens: tcp-listen://127.0.0.1:0 (any free port),
//                          unix-listen://./display.socket

#include "DemoLog.h"

#include <VarnoLink/VarnoLink.h>
#include <VarnoNetwork/VarnoNetwork.h>

#include <stdexcept>

namespace varno::example {
namespace {

void run(const Address& address) {
  constexpr std::uint64_t kConnections = 3;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  MainThreadDescriptor tasks;
  const auto await = [&](const char* what, const std::function<bool()>& isDone) {
    if (!tasks.runUntil(deadline, isDone)) throw std::runtime_error(std::string("no ") + what);
  };

  // The display answers, and hangs up in the middle of its second answer.
  bool isListening = false;
  LinkNetwork display(address, {.onStatus = [&](const LinkStatus&) { isListening = true; },
                                .sends = Direction::kToPhone});
  const auto requests = std::make_shared<PacketRouter>();
  const auto request =
      requests->on<WifiStationModeCommandPacket>([&](const WifiStationModeCommandPacket&) {
        WifiStationStatusEventPacket status;
        status.setIpAddress("192.168.43.7");
        display.sendPacket(status);
        display.sendPacket(status);
      });
  display.registerPacketHandleDelegate(requests);
  WifiStationStatusEventPacket whole;
  whole.setIpAddress("192.168.43.7");
  display.addFault(Direction::kToPhone,
                   {.kind = FaultKind::kLimit, .bytes = frameOf(whole).size() + 2});
  display.start();
  await("place to listen", [&] { return isListening; });
  HudLog::write("the display listens at " + display.status().address.text());

  LinkNetworkOptions options;
  options.link.firstPause = std::chrono::milliseconds(10);
  LinkNetwork* sender = nullptr;
  std::uint64_t losses = 0;
  options.onStatus = [&](const LinkStatus& status) {
    HudLog::write(std::string(linkStateText(status.state)) + " " + status.reason);
    if (status.state == LinkState::kDown) ++losses;
    if (status.state != LinkState::kUp) return;
    WifiStationModeCommandPacket station;  // a display that was away has lost its state
    station.setSsid("Garage");
    sender->sendPacket(station);
  };
  LinkNetwork phone(display.status().address.counterpart(), std::move(options));
  sender = &phone;
  std::uint64_t answers = 0;
  const auto router = std::make_shared<PacketRouter>();
  const auto subscription =
      router->on<WifiStationStatusEventPacket>([&](const WifiStationStatusEventPacket& status) {
        HudLog::write("<- " + status.description());
        ++answers;
      });
  phone.registerPacketHandleDelegate(router);
  phone.start();
  await("answers", [&] { return answers >= kConnections && losses >= kConnections; });

  phone.stop();
  const FrameCutter::Counts pieces = phone.linkCounters().received.pieces;
  HudLog::write(std::to_string(pieces.frames) + " frames, " + std::to_string(pieces.tornFrames) +
                " torn");
  if (pieces.frames < kConnections || pieces.tornFrames < kConnections) {
    throw std::runtime_error("that is not what the display has sent");
  }
}

}  // namespace
}  // namespace varno::example

int main(int argc, char** argv) {
  varno::example::logAs("socket");
  try {
    if (argc != 2) throw std::invalid_argument("usage: socket_link ADDRESS");
    varno::example::run(varno::Address::parse(argv[1]));
    return 0;
  } catch (const std::exception& exception) {
    varno::HudLog::write(std::string("failed: ") + exception.what());
    return 1;
  }
}
