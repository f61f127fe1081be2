// A phone that keeps its link to a display, over TCP or a Unix socket, although the display goes
// away in the middle of a frame and comes back. Both ends are in this process. Exit status 0 when
// all went well.
//
//   socket_link ADDRESS    where the display listens: 127.0.0.1:0 (any free port), ./display.socket

#include "DemoLog.h"
#include "link/FrameReader.h"
#include "link/FrameWriter.h"
#include "link/MainLoop.h"
#include "link/SocketLink.h"

#include <VarnoNetwork/VarnoNetwork.h>

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace varno::example {
namespace {

constexpr std::chrono::seconds kTimeLimit{20};  // for all of it

// The phone's network, with its transport.
class PhoneNetwork : public HudNetwork {
 public:
  PhoneNetwork(const SocketAddress& display, SocketLinkOptions options)
      : link_(*this, display, std::move(options)) {}

  bool sendPacketImpl(std::vector<std::uint8_t> frame) override { return link_.write(frame); }

  SocketLink& link() { return link_; }

 private:
  SocketLink link_;
};

// One connection on the display's side, which does not connect again by itself.
class Display : public HudNetwork {
 public:
  explicit Display(Descriptor connection)
      : connection_(std::move(connection)),
        writer_(connection_.number()),
        reader_(*this, connection_.number(), [this](const std::string&) { hasEnded_ = true; }) {
    registerPacketHandleDelegate(router_);
    reader_.start();
  }

  bool sendPacketImpl(std::vector<std::uint8_t> frame) override { return writer_.write(frame); }

  // Breaks off in the middle of a frame. The connection is at its end when hasEnded() holds.
  void breakOff() {
    writer_.write(std::vector<std::uint8_t>{STX, 0x01});
    ::shutdown(connection_.number(), SHUT_RDWR);
  }

  bool hasEnded() const { return hasEnded_; }

 private:
  void answer() {
    WifiStationStatusEventPacket status;
    status.setIpAddress("192.168.43.7");
    sendPacket(status);
  }

  const std::shared_ptr<PacketRouter> router_ = std::make_shared<PacketRouter>();
  const PacketRouter::Subscription subscription_ = router_->on<WifiStationModeCommandPacket>(
      [this](const WifiStationModeCommandPacket&) { answer(); });
  bool hasEnded_ = false;
  const Descriptor connection_;
  FrameWriter writer_;
  FrameReader reader_;  // last: its thread uses all that is above
};

void run(const SocketAddress& address) {
  constexpr int kConnections = 3;
  const Deadline deadline = std::chrono::steady_clock::now() + kTimeLimit;
  const ListeningSocket listening(address);
  HudLog::write("the display listens at " + listening.address().text());

  int answers = 0;
  const auto router = std::make_shared<PacketRouter>();
  const auto subscription =
      router->on<WifiStationStatusEventPacket>([&](const WifiStationStatusEventPacket& status) {
        HudLog::write("<- " + status.description());
        ++answers;
      });

  int losses = 0;
  PhoneNetwork* sender = nullptr;
  SocketLinkOptions options;
  options.onUp = [&] {  // a display that was away has lost its state
    WifiStationModeCommandPacket station;
    station.setSsid("Garage");
    HudLog::write("connected -> " + station.description());
    sender->sendPacket(station);
  };
  options.onDown = [&](const std::string& reason) {
    HudLog::write("not connected: " + reason);
    ++losses;
  };
  options.firstPause = std::chrono::milliseconds(10);
  PhoneNetwork phone(listening.address(), std::move(options));
  sender = &phone;
  phone.registerPacketHandleDelegate(router);
  std::optional<Display> display;
  MainLoop loop;  // declared after those whose threads it lets end
  phone.link().start();

  const auto await = [&](const char* what, const std::function<bool()>& isDone) {
    if (!loop.runUntil(deadline, isDone)) throw std::runtime_error(std::string("no ") + what);
  };
  for (int connection = 1; connection <= kConnections; ++connection) {
    display.emplace(listening.accept(deadline));
    await("answer", [&] { return answers == connection; });
    display->breakOff();
    await("loss", [&] { return losses == connection && display->hasEnded(); });
  }

  loop.quit();  // first, so that the link's thread waits for nothing
  phone.link().stop();
  const FrameCutter::Counts& counts = phone.link().counts();
  HudLog::write(std::to_string(counts.frames) + " frames, " + std::to_string(counts.tornFrames) +
                " torn");
  if (counts.frames != kConnections || counts.tornFrames != kConnections) {
    throw std::runtime_error("that is not what the display has sent");
  }
}

}  // namespace
}  // namespace varno::example

int main(int argc, char** argv) {
  varno::example::logAs("socket");
  try {
    if (argc != 2) throw std::invalid_argument("usage: socket_link ADDRESS");
    varno::example::run(varno::example::SocketAddress(argv[1]));
    return 0;
  } catch (const std::exception& exception) {
    varno::HudLog::write(std::string("failed: ") + exception.what());
    return 1;
  }
}
