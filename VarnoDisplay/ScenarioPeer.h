#pragma once

#include <VarnoDisplay/ScenarioRunner.h>
#include <VarnoDisplay/SimulatedDisplay.h>
#include <VarnoLink/Clock.h>
#include <VarnoNetwork/Export.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

namespace varno {

// What a peer tells its owner, inside its operations. What they throw leaves the operation.
struct ScenarioPeerHandlers {
  // Bytes for the other side, in order.
  std::function<void(std::span<const std::uint8_t> bytes)> onOutput = {};
  // The link ends, and stays down until onOpen.
  std::function<void(HangUp how)> onHangUp = {};
  // The link may come up again: where it does not do so already, the owner connects or listens. It
  // calls linkUp() when it is up.
  std::function<void()> onOpen = {};
  // Looks on.
  std::function<void(const TrafficRecord& record)> onRecord = {};
};

// One end of a link that does what a scenario says and nothing else: a display or a phone. Bytes go
// in and come out, the time comes from a clock. It sleeps, waits and starts nothing by itself; the
// same bytes at the same times give the same bytes and records. One thread at a time.
//
// What is recorded is what it receives, and what it puts on the line: behind the faults of either
// direction.
class VARNO_EXPORT ScenarioPeer {
 public:
  // scenario, clock: outlive the peer. The scenario has no errors.
  ScenarioPeer(const Scenario& scenario, const Clock& clock, ScenarioPeerHandlers handlers,
               const ScenarioOptions& options = {});
  ~ScenarioPeer();
  ScenarioPeer(const ScenarioPeer&) = delete;
  ScenarioPeer& operator=(const ScenarioPeer&) = delete;

  void start();

  // The link came up or went down, as its owner sees it. reason: for the record.
  void linkUp();
  void linkDown(std::string_view reason = {});

  // Bytes from the other side, in pieces of any size. Ignored while the link is down.
  void receive(std::span<const std::uint8_t> bytes);

  // Does what is due by the clock.
  void advance();

  // When advance() is to be called next; none while nothing is to come.
  std::optional<LinkTime> nextDue() const;

  // Whether the scenario has ended, and whether besides all has left that it sent.
  bool isFinished() const { return result().outcome != ScenarioOutcome::kRunning; }
  bool isIdle() const;

  const ScenarioResult& result() const;

 private:
  struct State;
  const std::unique_ptr<State> state_;
};

}  // namespace varno
