#include "tools/varno/Scenarios.h"

#include "tools/varno/Failure.h"
#include "tools/varno/FileBuffers.h"

#include <VarnoLink/Duration.h>

#include <istream>
#include <iterator>

namespace varno::tool {

std::optional<Scenario> scenarioIn(const std::string& path) {
  InputFile file(path);
  std::istream input(&file);
  input.exceptions(std::ios::badbit);
  const std::string text{std::istreambuf_iterator<char>(input), {}};
  ScenarioReading reading = readScenario(text, path);
  if (reading.errors.empty() && reading.scenario.statements.empty()) {
    throw Failure(kUnreadable, shown(path) + ": the scenario has no statements");
  }
  if (reading.errors.empty()) return std::move(reading.scenario);
  for (const ScenarioError& error : reading.errors) tell(error.text());
  const std::size_t count = reading.errors.size();
  tell(shown(path) + ": " + counted(count, "error"));
  return std::nullopt;
}

int codeOf(ScenarioOutcome outcome) {
  switch (outcome) {
    case ScenarioOutcome::kPassed: return kSuccess;
    case ScenarioOutcome::kFailed: return kExpectation;
    case ScenarioOutcome::kRunning:
    case ScenarioOutcome::kLinkFailed: break;
  }
  return kLink;
}

std::string verdictText(const std::string& path, const ScenarioResult& result,
                        std::chrono::nanoseconds took) {
  const bool isPassed = result.outcome == ScenarioOutcome::kPassed;
  std::string text = isPassed ? "passed " : "failed ";
  text += shown(path) + ": " + std::to_string(result.passed()) + " of " +
          std::to_string(result.cases.size()) + " expectations held in " +
          durationText(std::chrono::round<std::chrono::milliseconds>(took)) + ", seed " +
          std::to_string(result.seed) + "\n";
  return text;
}

}  // namespace varno::tool
