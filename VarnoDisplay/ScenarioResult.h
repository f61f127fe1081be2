#pragma once

#include <VarnoDisplay/Scenario.h>
#include <VarnoNetwork/Export.h>
#include <VarnoTraffic/PacketPattern.h>
#include <VarnoTraffic/TrafficRecord.h>

#include <chrono>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

// What became of a scenario, for people and for programs.

namespace varno {

enum class ScenarioOutcome : std::uint8_t {
  kRunning,
  kPassed,
  kFailed,      // something was expected and did not come, or came and was not to
  kLinkFailed,  // the link was down where it was needed
};

// Why a scenario failed.
struct ScenarioFailure {
  std::string file;
  ScenarioPlace place;
  std::string statement;  // as "expect HudDisconnectCommandPacket within 5s", secrets hidden
  std::string reason;     // a sentence without full stop
  // The pattern beside the packet that is most like it, field by field; empty where none came.
  std::vector<PatternRow> rows;
  std::vector<TrafficRecord> records;  // the last ones before it

  // As `join.varno:6:8: expect ...: reason`, then the comparison and the records, a line each,
  // secrets hidden.
  VARNO_EXPORT std::string text() const;
};

// One `expect` or `reject`, and how it went.
struct ScenarioCase {
  enum class Status : std::uint8_t { kPassed, kFailed, kSkipped };

  std::string file;
  ScenarioPlace place;
  std::string statement;
  Status status = Status::kSkipped;
  std::chrono::nanoseconds took{};
};

// How a scenario ended.
struct ScenarioResult {
  ScenarioOutcome outcome = ScenarioOutcome::kRunning;
  std::uint64_t seed = 0;
  std::vector<ScenarioCase> cases;  // of the whole scenario, in its order
  std::optional<ScenarioFailure> failure;

  // How many cases passed.
  VARNO_EXPORT std::size_t passed() const;
};

// The statement in the words of a scenario, secrets hidden.
VARNO_EXPORT std::string scenarioStatementText(const ScenarioStatement& statement);

// Writes the result as JUnit's XML, as continuous integration reads it: a test suite of the
// scenario's name with a test case for each of the cases.
VARNO_EXPORT void writeJUnit(std::ostream& output, const std::string& name,
                             const ScenarioResult& result);

}  // namespace varno
