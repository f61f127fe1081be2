#include "tests/display/ScenarioSupport.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>

namespace varno::test {
namespace {

std::vector<std::string> scenarioFiles() {
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(VARNO_SCENARIO_FOLDER)) {
    if (entry.path().extension() == ".varno") files.push_back(entry.path().string());
  }
  std::sort(files.begin(), files.end());
  return files;
}

Scenario scenarioIn(const std::string& file) {
  std::string reason;
  const auto text = loadScenarioText(file, reason);
  ScenarioReading reading = readScenario(text.value_or(""), file);
  EXPECT_TRUE(text) << reason;
  for (const ScenarioError& error : reading.errors) ADD_FAILURE() << error.text();
  return std::move(reading.scenario);
}

// The application that behaves well passes all of them; the phone's are against a simulated
// display.
TEST(ScenarioFilesTest, PassWithTheReferenceApplications) {
  const std::vector<std::string> files = scenarioFiles();
  EXPECT_GE(files.size(), 10U);
  for (const std::string& file : files) {
    const ScenarioRun run = runScenario(scenarioIn(file));
    EXPECT_EQ(run.result.outcome, ScenarioOutcome::kPassed) << run.failure() << '\n' << run.records;
    EXPECT_GT(run.result.cases.size(), 1U) << file;
  }
}

TEST(ScenarioFilesTest, GiveTheSameRecordsEveryTime) {
  std::string allOfOtherSeed;
  std::string all;
  for (const std::string& file : scenarioFiles()) {
    const Scenario scenario = scenarioIn(file);
    const std::string first = runScenario(scenario).records;
    const bool isByChance = first.find(" fault #") != std::string::npos;
    for (int round = 1; round < (isByChance ? 100 : 5); ++round) {
      ASSERT_EQ(runScenario(scenario).records, first) << file;
    }
    all += first;
    ScenarioOptions options;
    options.seed = 4711;
    allOfOtherSeed += runScenario(scenario, options).records;
  }
  EXPECT_NE(all, allOfOtherSeed) << "the seed decides what is left to chance";
}

}  // namespace
}  // namespace varno::test
