#pragma once

#include <VarnoDisplay/Scenario.h>
#include <VarnoDisplay/ScenarioResult.h>

#include <chrono>
#include <optional>
#include <string>

namespace varno::tool {

// Reads the scenario of a file, of standard input for "-". None, with each error told, where it
// cannot be understood. Throws Failure where there is no such file.
std::optional<Scenario> scenarioIn(const std::string& path);

// The exit code that the outcome stands for.
int codeOf(ScenarioOutcome outcome);

// As "passed join.varno: 7 of 7 expectations held in 1.2s, seed 1", and the line's end.
std::string verdictText(const std::string& path, const ScenarioResult& result,
                        std::chrono::nanoseconds took);

}  // namespace varno::tool
