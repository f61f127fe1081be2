#pragma once

#include <VarnoDisplay/Scenario.h>

#include <optional>
#include <string>

namespace varno::tool {

// Reads the scenario of a file, of standard input for "-". None, with each error told, where it
// cannot be understood. Throws Failure where there is no such file.
std::optional<Scenario> scenarioIn(const std::string& path);

}  // namespace varno::tool
