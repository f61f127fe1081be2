#include "FuzzSupport.h"

#include <VarnoDisplay/VarnoDisplay.h>
#include <VarnoNetwork/VarnoNetwork.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

// Takes an input for a scenario. Whatever it includes is the input again, from somewhere on. What
// can be read is run, against an application that sends back what it gets.

namespace varno::fuzz {
namespace {

void checkErrors(const ScenarioReading& reading) {
  for (const ScenarioError& error : reading.errors) {
    require(error.line > 0 && error.error.column > 0, "an error has a place");
    require(error.error.column <= error.source.size() + 1, "an error's column is in its line");
    require(error.text().find('^') != std::string::npos, "an error has a caret");
  }
}

void runScenario(const Scenario& scenario) {
  ManualClock clock;
  InProcessScenario run(scenario, clock);
  int left = 1000;
  run.setApplication({.onFrame = [&](std::span<const std::uint8_t> frame) {
    if (--left > 0) run.receive(frame);
  }});
  const ScenarioResult& result = run.run();
  require((result.outcome == ScenarioOutcome::kPassed) == !result.failure,
          "a failure has a reason");
  if (result.failure) require(!result.failure->text().empty(), "a failure has a text");
}

}  // namespace
}  // namespace varno::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace varno;
  HudLog::setSink([](std::string_view) {});  // refused version texts are not looked at here
  static const PacketDirectory& directory = *new PacketDirectory();
  const std::string text(reinterpret_cast<const char*>(data), std::min<std::size_t>(size, 4096));
  int loads = 3;  // each may be as long as the input, and takes as much time
  const auto load = [&](const std::string& path, std::string& reason) {
    reason = "enough";
    return --loads > 0 ? std::optional(text.substr(path.size() % (text.size() + 1))) : std::nullopt;
  };
  const ScenarioReading reading = readScenario(text, "fuzz.varno", load, directory);
  fuzz::checkErrors(reading);
  // What a fault makes of little, as noise of many gigabytes, is another matter.
  const bool hasFaults = std::any_of(
      reading.scenario.statements.begin(), reading.scenario.statements.end(),
      [](const auto& each) { return std::holds_alternative<FaultStatement>(each.what); });
  if (reading.errors.empty() && !hasFaults) fuzz::runScenario(reading.scenario);
  return 0;
}
