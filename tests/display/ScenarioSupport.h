#pragma once

#include "tests/display/ReferencePhone.h"

#include <VarnoDisplay/VarnoDisplay.h>
#include <VarnoTraffic/VarnoTraffic.h>

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace varno::test {

// What a run of a scenario in this process gave.
struct ScenarioRun {
  ScenarioResult result;
  std::string records;         // one a line, secrets hidden
  std::string recordsInClear;  // the same with secrets

  std::string failure() const { return result.failure ? result.failure->text() : std::string(); }
};

// Runs the scenario against a ReferencePhone, or as the phone against a SimulatedDisplay.
inline ScenarioRun runScenario(const Scenario& scenario, const ScenarioOptions& options = {}) {
  ManualClock clock(LinkTime(std::chrono::seconds(1'500'000'000)));
  InProcessScenario run(scenario, clock, options);
  std::optional<ReferencePhone> phone;
  std::optional<SimulatedDisplay> display;
  if (roleOf(scenario, options) == ScenarioRole::kDisplay) {
    phone.emplace(clock, [&](auto frame) { return run.receive(frame); });
    run.setApplication({.onFrame = [&](auto frame) { phone->receive(frame); },
                        .onLinkUp = [&] { phone->linkUp(); },
                        .onLinkDown = [&] { phone->linkDown(); },
                        .advance = [&] { phone->advance(); },
                        .nextDue = [&] { return phone->nextDue(); }});
  } else {
    display.emplace(clock);
    display->setHandlers({.onOutput = [&](auto bytes) { run.receive(bytes); },
                          .onHangUp = [&](HangUp) { run.hangUp(); }});
    run.setApplication({.onFrame = [&](auto frame) { display->receive(frame); },
                        .onLinkUp = [&] { display->linkUp(); },
                        .onLinkDown = [&] { display->linkDown(); },
                        .advance = [&] { display->advance(); },
                        .nextDue = [&] { return display->nextDue(); }});
  }
  ScenarioRun ran;
  NotationPrinter printer;
  NotationPrinter printerInClear(Secrets::kShown);
  run.setOnRecord([&](const TrafficRecord& record) {
    printer.append(ran.records, record);
    ran.records += '\n';
    printerInClear.append(ran.recordsInClear, record);
    ran.recordsInClear += '\n';
  });
  ran.result = run.run();
  return ran;
}

// The scenario's text, as it stands in a test; its errors are the test's.
inline Scenario scenarioFrom(std::string_view text) {
  ScenarioReading reading = readScenario(text, "test.varno");
  std::string errors;
  for (const ScenarioError& error : reading.errors) errors += error.text() + "\n";
  if (!errors.empty()) throw std::invalid_argument(errors);
  return std::move(reading.scenario);
}

}  // namespace varno::test
