#include "tools/varno/Scenarios.h"

#include "tools/varno/Failure.h"
#include "tools/varno/FileBuffers.h"

#include <istream>
#include <iterator>

namespace varno::tool {

std::optional<Scenario> scenarioIn(const std::string& path) {
  InputFile file(path);
  std::istream input(&file);
  input.exceptions(std::ios::badbit);
  const std::string text{std::istreambuf_iterator<char>(input), {}};
  ScenarioReading reading = readScenario(text, path);
  if (reading.errors.empty()) return std::move(reading.scenario);
  for (const ScenarioError& error : reading.errors) tell(error.text());
  const std::size_t count = reading.errors.size();
  tell(shown(path) + ": " + std::to_string(count) + (count == 1 ? " error" : " errors"));
  return std::nullopt;
}

}  // namespace varno::tool
