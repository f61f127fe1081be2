#pragma once

#include <VarnoDisplay/ScenarioPeer.h>
#include <VarnoLink/Clock.h>
#include <VarnoNetwork/Export.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>

namespace varno {

// The application that a scenario is run against, as far as it takes part. What is left away does
// nothing.
struct ScenarioApplication {
  // A whole frame came: for MainThreadDelivery::handle. What is no frame is dropped on the way, as
  // an application's own cutter does.
  std::function<void(std::span<const std::uint8_t> frame)> onFrame = {};
  // The link came up, or went down.
  std::function<void()> onLinkUp = {};
  std::function<void()> onLinkDown = {};
  // Does what is due by the clock, such as running the main thread's queue; and when that is next.
  std::function<void()> advance = {};
  std::function<std::optional<LinkTime>()> nextDue = {};
};

// Runs a scenario against an application in this process: without sockets, and by a clock that does
// not wait, so that a time-out of ten seconds takes no time.
//
//   ManualClock clock;
//   InProcessScenario scenario(read.scenario, clock);
//   MainThreadDelivery delivery(network);
//   scenario.setApplication({.onFrame = [&](auto frame) { delivery.handle(frame); }, ...});
//   // in the network's sendPacketImpl: return scenario.receive(frame);
//   EXPECT_EQ(scenario.run().outcome, ScenarioOutcome::kPassed) <<
//   scenario.result().failure->text();
//
// The link is up from the beginning. One thread at a time.
class VARNO_EXPORT InProcessScenario {
 public:
  // scenario, clock: outlive it. The scenario has no errors.
  InProcessScenario(const Scenario& scenario, ManualClock& clock,
                    const ScenarioOptions& options = {});
  ~InProcessScenario();
  InProcessScenario(const InProcessScenario&) = delete;
  InProcessScenario& operator=(const InProcessScenario&) = delete;

  void setApplication(ScenarioApplication application);

  // Gets each record. Not inside run().
  void setOnRecord(std::function<void(const TrafficRecord& record)> onRecord);

  // What the application sends. False while the link is down.
  bool receive(std::span<const std::uint8_t> bytes);

  // The application hangs up. The link stays down until the scenario opens it, as does that of
  // `link close`.
  void hangUp();

  // Runs the scenario to its end, and advances the clock meanwhile. Once. What the application
  // throws leaves it.
  const ScenarioResult& run();

  const ScenarioResult& result() const;

 private:
  struct State;
  const std::unique_ptr<State> state_;
};

}  // namespace varno
