#pragma once

#include <VarnoDisplay/Scenario.h>
#include <VarnoDisplay/ScenarioResult.h>
#include <VarnoLink/Clock.h>
#include <VarnoNetwork/Export.h>
#include <VarnoNetwork/Network/HudPacket.h>
#include <VarnoTraffic/TrafficRecord.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

namespace varno {

// What a scenario acts on: one end of a link. Nothing in it waits. What happens in answer, inside
// these operations too, is told to the runner.
class VARNO_EXPORT ScenarioWire {
 public:
  virtual ~ScenarioWire();

  virtual void send(std::span<const std::uint8_t> bytes) = 0;
  virtual void addFault(Direction direction, const Fault& fault) = 0;
  // The link ends, and stays down until open(); the runner is not told of it.
  virtual void close() = 0;
  virtual void reset() = 0;
  // The link may come up again, by whoever does that. Without effect where it is or may already.
  virtual void open() = 0;

 protected:
  ScenarioWire() = default;
  ScenarioWire(const ScenarioWire&) = default;
  ScenarioWire& operator=(const ScenarioWire&) = default;
};

// How a scenario is run.
struct ScenarioOptions {
  // These two go before what the scenario's options say.
  std::optional<std::uint64_t> seed = {};
  std::optional<ScenarioRole> role = {};
  // How long the scenario waits for the link at its beginning, and to send after `link open`.
  std::chrono::nanoseconds linkTimeout = std::chrono::seconds(30);
  PacketDirectory directory = PacketDirectory();
};

// What a scenario is run with: 1 and the display where nobody says otherwise.
VARNO_EXPORT std::uint64_t seedOf(const Scenario& scenario, const ScenarioOptions& options);
VARNO_EXPORT ScenarioRole roleOf(const Scenario& scenario, const ScenarioOptions& options);

// Runs a scenario. It sleeps, waits and starts nothing by itself: its owner tells it what came and
// calls advance() when nextDue() has come. With the same frames at the same times it always does
// the same. One thread at a time. Any of its operations may be called inside those of the wire.
class VARNO_EXPORT ScenarioRunner {
 public:
  // scenario, clock, wire: outlive the runner. The scenario has no errors.
  ScenarioRunner(const Scenario& scenario, const Clock& clock, ScenarioWire& wire,
                 ScenarioOptions options = {});
  ~ScenarioRunner();
  ScenarioRunner(const ScenarioRunner&) = delete;
  ScenarioRunner& operator=(const ScenarioRunner&) = delete;

  // Begins: the first statement is run when the link is up. What comes before that is passed over.
  void start();

  void linkUp();
  void linkDown();

  // A frame came; packet: what is in it, null for none. True: an `on` answers it.
  bool receive(std::span<const std::uint8_t> frame, std::shared_ptr<const HudPacket> packet);

  // What passed or happened, for the report of a failure.
  void addRecord(const TrafficRecord& record);

  // Does what is due by the clock.
  void advance();

  // When advance() is to be called next; none once it is finished.
  std::optional<LinkTime> nextDue() const;

  bool isFinished() const { return result().outcome != ScenarioOutcome::kRunning; }
  const ScenarioResult& result() const;

 private:
  struct State;
  const std::unique_ptr<State> state_;
};

}  // namespace varno
