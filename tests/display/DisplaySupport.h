#pragma once

#include "tests/TestSupport.h"

#include <VarnoDisplay/SimulatedDisplay.h>
#include <VarnoTraffic/Notation.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace varno::test {

// The packet that a line of the one-line notation names.
inline std::shared_ptr<HudPacket> packetFrom(std::string_view line) {
  NotationError error;
  auto packet = NotationReader().readPacket(line, error);
  if (packet == nullptr) throw std::invalid_argument(error.text());
  return packet;
}

// A display whose link is up, with a clock that the test advances, and what it does as lines.
class Desk {
 public:
  using Lines = std::vector<std::string>;

  explicit Desk(DisplayOptions options = {}) : display(clock, std::move(options)) {
    display.setHandlers({.onOutput = [this](auto bytes) { append(bytes); },
                         .onHangUp = [this](HangUp) { ++hangUps; },
                         .onFrame = {},
                         .onChange = [this](const auto& change) { add(change.text()); },
                         .onRecord = {}});
    display.linkUp();
    changes.clear();
  }

  void receive(std::string_view line) { display.receive(frameOf(*packetFrom(line))); }

  // Lets the time pass, stopping wherever the display has something to do.
  void pass(std::chrono::milliseconds duration) {
    const LinkTime end = clock.now() + duration;
    while (display.nextDue() && *display.nextDue() <= end) {
      clock.advanceTo(*display.nextDue());
      display.advance();
    }
    clock.advanceTo(end);
  }

  Lines takeChanges() { return std::exchange(changes, {}); }
  Bytes takeOutput() { return std::exchange(output, {}); }

  ManualClock clock;
  SimulatedDisplay display;
  Lines changes;
  Bytes output;
  int hangUps = 0;

 private:
  void add(std::string line) { changes.push_back(std::move(line)); }
  void append(std::span<const std::uint8_t> bytes) {
    output.insert(output.end(), bytes.begin(), bytes.end());
  }
};

}  // namespace varno::test
