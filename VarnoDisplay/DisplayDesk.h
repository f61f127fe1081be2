#pragma once

#include <VarnoDisplay/SimulatedDisplay.h>
#include <VarnoLink/Clock.h>
#include <VarnoNetwork/Export.h>
#include <VarnoNetwork/Network/HudNetwork.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace varno {

// A simulated display beside an application's network, in one process: for tests, without sockets,
// threads or waiting. The time is a manual clock's, so that ten seconds take no time.
//
//   class AppNetwork : public HudNetwork {
//    public:
//     bool sendPacketImpl(std::vector<std::uint8_t> frame) override { return desk.take(frame); }
//     DisplayDesk& desk;
//   };
//
//   DisplayDesk desk;
//   AppNetwork network(desk);
//   desk.connect(network);
//   network.sendPacket(KeepAliveCommandPacket());
//   desk.pump();  // the display has it, and what it sent at once has reached the listeners
//
// Bytes pass in order, and only in pump() and pass(); a listener may send. On the main thread.
class VARNO_EXPORT DisplayDesk {
 public:
  // Begins on 2017-07-14, 02:40:00 UTC, unless told another time.
  explicit DisplayDesk(DisplayOptions options = {},
                       LinkTime begin = LinkTime(std::chrono::seconds(1'500'000'000)));
  ~DisplayDesk();
  DisplayDesk(const DisplayDesk&) = delete;
  DisplayDesk& operator=(const DisplayDesk&) = delete;

  // The link is up from here on, to this network. A link that was up goes down first. network:
  // outlives the desk, unless another one is connected or the link is taken down.
  void connect(const HudNetwork& network);

  // The phone hangs up: what it sent before still arrives, what it has not received is lost. From
  // the other side SimulatedDisplay::disconnect does it, and a reset loses all.
  void disconnect();

  bool isUp() const;

  // Told in addition to what the desk does itself; instead of SimulatedDisplay::setHandlers, which
  // would cut the display off. Not inside a handler.
  void setHandlers(DisplayHandlers handlers);

  // What the application's sendPacketImpl gets, of one frame or any bytes. False while the link is
  // down.
  bool take(std::span<const std::uint8_t> bytes);

  // Has everything pass that is on its way, both ways, and runs the main thread's queue where that
  // is a MainThreadQueue. What a listener throws leaves this call; what is behind passes with the
  // next.
  void pump();

  // Lets time pass, and pumps whenever the display has something to do.
  void pass(std::chrono::nanoseconds duration);

  // The same until the condition holds, at most for that long. Returns whether it holds.
  bool passUntil(const std::function<bool()>& condition, std::chrono::nanoseconds limit);

  SimulatedDisplay& display();
  ManualClock& clock();

  // Frames from the display that the network refused as malformed.
  std::uint64_t refusedFrames() const;

 private:
  friend class DeskNetwork;

  struct State;

  // Where it is the one that is connected.
  VARNO_INTERNAL void disconnect(const HudNetwork& network);

  const std::unique_ptr<State> state_;
};

// A network that is connected to a desk, for those who have no class of their own.
class VARNO_EXPORT DeskNetwork : public HudNetwork {
 public:
  // desk: outlives the network.
  explicit DeskNetwork(DisplayDesk& desk) : desk_(desk) { desk.connect(*this); }
  // Hangs up, which the desk's handlers are told.
  ~DeskNetwork() override;

  bool sendPacketImpl(std::vector<std::uint8_t> frame) override { return desk_.take(frame); }

 private:
  DisplayDesk& desk_;
};

}  // namespace varno
