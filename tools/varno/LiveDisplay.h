#pragma once

#include "tools/varno/PeerLink.h"

#include <VarnoDisplay/ScenarioRunner.h>
#include <VarnoDisplay/SimulatedDisplay.h>
#include <VarnoLink/LinkLoop.h>
#include <VarnoLink/LinkTimer.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

namespace varno::tool {

// A simulated display at the end of a link, and the scenario that it plays besides, where there is
// one. On the loop's thread.
class LiveDisplay : private ScenarioWire {
 public:
  struct Handlers {
    std::function<void(const Address& address)> onReady;  // these three as those of PeerLink
    std::function<void(const std::string& reason)> onTrouble;
    std::function<void(const std::string& reason)> onUseless;
    // What was to be done at the moment is done.
    std::function<void()> onDone;
    // The scenario has ended, and what the display sent has left.
    std::function<void()> onPlayed;
    std::function<void(const StateChange& change)> onChange = {};
    std::function<void(const TrafficRecord& record)> onRecord = {};
  };

  // scenario: null for none; outlives it.
  LiveDisplay(LinkLoop& loop, Address address, DisplayOptions options, const Scenario* scenario,
              Handlers handlers);

  // Begins: the link is opened, and the scenario started.
  void start();

  // Ends the link for good.
  void end();

  SimulatedDisplay& display() { return display_; }

  // To be called after the display was used.
  void isUsed();

  // By hand: hangs up and stays down, until it comes back.
  void hangUp();
  void comeBack();
  bool staysDown() const { return staysDown_; }

  // Null where there is no scenario.
  const ScenarioResult* result() const { return runner_ ? &runner_->result() : nullptr; }

  std::uint64_t refusedBytes() const { return link_.refusedBytes(); }

 private:
  PeerLink::Handlers linkHandlers();
  DisplayHandlers displayHandlers();
  void onRecord(const TrafficRecord& record);
  void tellWhenPlayed();

  // The scenario's wire.
  void send(std::span<const std::uint8_t> bytes) override { display_.sendBytes(bytes); }
  void addFault(Direction direction, const Fault& fault) override {
    display_.fault(direction, fault);
  }
  void close() override { goDown(HangUp::kClose); }
  void reset() override { goDown(HangUp::kReset); }
  void open() override;
  void goDown(HangUp how);

  Handlers handlers_;
  SimulatedDisplay display_;
  PeerLink link_;
  std::optional<ScenarioRunner> runner_;
  LinkTimer timer_;
  LinkTimer lingerTimer_;
  bool staysDown_ = false;
  bool isPlayed_ = false;
};

}  // namespace varno::tool
