#include <VarnoDisplay/ScenarioResult.h>

#include <VarnoNetwork/Network/HudLog.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <string_view>

namespace varno {
namespace {

// What XML cannot hold was escaped before: texts are printable, but for the line ends.
std::string inXml(std::string_view text) {
  std::string escaped;
  for (const char character : text) {
    switch (character) {
      case '&': escaped += "&amp;"; break;
      case '<': escaped += "&lt;"; break;
      case '>': escaped += "&gt;"; break;
      case '"': escaped += "&quot;"; break;
      default: escaped += character;
    }
  }
  return escaped;
}

// As a decimal fraction, whatever the locale.
std::string secondsIn(std::chrono::nanoseconds duration) {
  const auto milliseconds = std::chrono::round<std::chrono::milliseconds>(duration).count();
  std::string decimals = std::to_string(milliseconds % 1000);
  decimals.insert(0, 3 - decimals.size(), '0');
  return std::to_string(milliseconds / 1000) + "." + decimals;
}

}  // namespace

void writeJUnit(std::ostream& output, const std::string& name, const ScenarioResult& result) {
  using Status = ScenarioCase::Status;
  const auto count = [&](Status status) {
    return std::count_if(result.cases.begin(), result.cases.end(),
                         [&](const ScenarioCase& each) { return each.status == status; });
  };
  std::chrono::nanoseconds took{};
  for (const ScenarioCase& each : result.cases) took += each.took;
  const std::string suite = inXml(HudLog::printableLine(name));
  // What fails outside of every case is an error of the suite, in a case of its own.
  const auto failed = count(Status::kFailed);
  const bool hasNoEnd = result.outcome == ScenarioOutcome::kRunning;
  const bool isOutside = hasNoEnd || (result.failure.has_value() && failed == 0);
  output << R"(<?xml version="1.0" encoding="UTF-8"?>)"
         << "\n<testsuites>\n  <testsuite name=\"" << suite << "\" tests=\""
         << result.cases.size() + (isOutside ? 1 : 0) << "\" failures=\"" << failed
         << "\" errors=\"" << (isOutside ? 1 : 0) << "\" skipped=\"" << count(Status::kSkipped)
         << "\" time=\"" << secondsIn(took) << "\">\n    <properties>\n"
         << "      <property name=\"seed\" value=\"" << result.seed << "\"/>\n"
         << "    </properties>\n";
  const auto begin = [&](const std::string& file, const ScenarioPlace& place,
                         const std::string& statement, std::chrono::nanoseconds lasted) {
    output << "    <testcase classname=\"" << suite << "\" name=\"line " << place.line << ": "
           << inXml(statement) << "\" file=\"" << inXml(HudLog::printableLine(file)) << "\" line=\""
           << place.line << "\" time=\"" << secondsIn(lasted) << '"';
  };
  const auto tell = [&](const char* element) {
    output << ">\n      <" << element << " message=\"" << inXml(result.failure->reason) << "\">"
           << inXml(result.failure->text()) << "</" << element << ">\n    </testcase>\n";
  };
  for (const ScenarioCase& each : result.cases) {
    begin(each.file, each.place, each.statement, each.took);
    switch (each.status) {
      case Status::kPassed: output << "/>\n"; break;
      case Status::kSkipped: output << ">\n      <skipped/>\n    </testcase>\n"; break;
      case Status::kFailed: tell("failure"); break;
    }
  }
  if (hasNoEnd) {
    output << "    <testcase classname=\"" << suite << "\" name=\"all of it\">\n"
           << "      <error message=\"the scenario did not come to its end\"/>\n"
           << "    </testcase>\n";
  } else if (isOutside) {
    begin(result.failure->file, result.failure->place, result.failure->statement, {});
    tell("error");
  }
  output << "  </testsuite>\n</testsuites>\n";
}

}  // namespace varno
