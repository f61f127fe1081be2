#pragma once

#include <VarnoDisplay/DisplayOptions.h>
#include <VarnoDisplay/DisplayState.h>
#include <VarnoDisplay/StateChange.h>
#include <VarnoDisplay/TrafficHistory.h>
#include <VarnoLink/Clock.h>
#include <VarnoLink/FaultStage.h>
#include <VarnoNetwork/Export.h>
#include <VarnoNetwork/Network/HudPacket.h>
#include <VarnoNetwork/Network/PacketType.h>
#include <VarnoTraffic/FrameCutter.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace varno {

// How a display ends a connection.
enum class HangUp : std::uint8_t {
  kClose,  // in order
  kReset,  // at once, with what is on the way lost, where the link can do so
};

// What a simulated display tells its owner, inside its operations. What they throw leaves the
// operation.
struct DisplayHandlers {
  // Bytes for the phone, in order. A piece may be a part of a frame or several.
  std::function<void(std::span<const std::uint8_t> bytes)> onOutput = {};
  // The display hangs up; it already counts as down.
  std::function<void(HangUp how)> onHangUp = {};
  // A frame came; packet: what is in it, null where it holds none that is known. Called before the
  // display answers of its own accord. True: it has been answered, and the display does not. May
  // use the display.
  std::function<bool(std::span<const std::uint8_t> frame, const std::shared_ptr<HudPacket>& packet)>
      onFrame = {};
  // These two look on: they do not use the display. The record is not yet in the history.
  std::function<void(const StateChange& change)> onChange = {};
  std::function<void(const TrafficRecord& record)> onRecord = {};
};

// A head-up display that is none: bytes go in and come out, the time comes from a clock, and what a
// driver would see is a value. It sleeps, waits and starts nothing by itself. The same bytes at the
// same times give the same bytes, states and records. One thread at a time.
//
//   ManualClock clock;
//   SimulatedDisplay display(clock);
//   display.setHandlers({.onOutput = [&](auto bytes) { ... }});
//   display.linkUp();
//   display.receive(frameOf(packet));
//   clock.advance(std::chrono::seconds(1));
//   display.advance();
//
// Frames of unknown types and damage of any kind are recorded and otherwise without effect, as is
// an event that comes from the phone. What is recorded is what the display receives, and what it
// puts on the line: behind the faults of either direction.
class VARNO_EXPORT SimulatedDisplay {
 public:
  // clock: outlives the display.
  explicit SimulatedDisplay(const Clock& clock, DisplayOptions options = {});
  ~SimulatedDisplay();
  SimulatedDisplay(const SimulatedDisplay&) = delete;
  SimulatedDisplay& operator=(const SimulatedDisplay&) = delete;

  // Not inside a handler.
  void setHandlers(DisplayHandlers handlers);

  // The link came up or went down, as its owner sees it. What the display was about to answer is
  // forgotten when the link goes down; what it shows stays. reason: for the record.
  void linkUp();
  void linkDown(std::string_view reason = {});
  bool isUp() const { return state().link.isUp; }

  // Bytes from the phone, in pieces of any size. Ignored while the link is down.
  void receive(std::span<const std::uint8_t> bytes);

  // Does what is due by the clock: answers, time-outs, the watch for keep-alives.
  void advance();

  // When advance() is to be called next; none while nothing is to come. May be earlier after any
  // other operation.
  std::optional<LinkTime> nextDue() const;

  // Sends by hand, at once; without effect while the link is down. Events act on the state as those
  // that the display sends of its own accord. A version event goes out as a display writes it, so
  // that the phone can read it. Bytes may be anything.
  void send(const HudPacket& packet);
  void sendBytes(std::span<const std::uint8_t> bytes);

  // Hangs up by hand.
  void disconnect(HangUp how = HangUp::kClose);

  // Switches an answer on or off; what is already on its way still comes.
  void setAnswer(DisplayAnswer answer, bool isOn);

  // Puts a fault into a direction and returns its id. Throws InvalidArgumentException for a fault
  // with a faultProblem.
  std::uint64_t fault(Direction direction, const Fault& fault);

  // Ends a fault. False where there is no such fault.
  bool removeFault(Direction direction, std::uint64_t id);

  std::vector<FaultStage::Entry> faults(Direction direction) const;

  const DisplayState& state() const;
  const TrafficHistory& history() const;

  // What was cut from the phone's bytes.
  const FrameCutter::Counts& receivedCounts() const;

  // How many frames from the phone held a packet, and how many packets were sent.
  std::uint64_t packetsReceived() const;
  std::uint64_t packetsSent() const;

  // The packets of the type in the history, in order, that came from the phone, or that went to it.
  template <PacketClass Packet>
  std::vector<Packet> received() const {
    return packets<Packet>(Direction::kToDisplay);
  }
  template <PacketClass Packet>
  std::vector<Packet> sent() const {
    return packets<Packet>(Direction::kToPhone);
  }

 private:
  struct State;

  void forEachPacket(Direction direction, PacketType type,
                     const std::function<void(const HudPacket&)>& action) const;

  template <class Packet>
  std::vector<Packet> packets(Direction direction) const {
    std::vector<Packet> found;
    forEachPacket(direction, PacketType::of<Packet>(), [&](const HudPacket& packet) {
      found.push_back(dynamic_cast<const Packet&>(packet));
    });
    return found;
  }

  const std::unique_ptr<State> state_;
};

}  // namespace varno
