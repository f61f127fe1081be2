#include "tests/display/ScenarioSupport.h"

#include <gmock/gmock.h>

#include <map>
#include <sstream>

namespace varno::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::vector<std::string> errorsOf(const std::map<std::string, std::string>& files) {
  const auto load = [&](const std::string& path, std::string& reason) {
    reason = "no such file";
    const auto found = files.find(path);
    return found == files.end() ? std::nullopt : std::optional(found->second);
  };
  std::vector<std::string> texts;
  for (const ScenarioError& error : readScenario(files.at("dir/a"), "dir/a", load).errors) {
    texts.push_back(error.text());
  }
  return texts;
}

// All errors come at once, each with its place; what only follows from another one does not.
TEST(ScenarioReaderTest, TellsAllErrorsOfAllFiles) {
  EXPECT_THAT(
      errorsOf({{"dir/a",
                 "\xEF\xBB\xBFlet t = 2s # note\r\nwait $t\r\nexpcet KeepAlive\r\n"
                 "let name = \"open\nsend SystemTime timeZoneId=$name\n"
                 "include sub/b\ninclude sub/b\ninclude nope\n"
                 "fault < latency delay=$t jitter=x"},
                {"dir/sub/b", "include ../a\nwait 3\n"}}),
      ElementsAre(
          "dir/a:3:1: found \"expcet\", expected send, expect, reject, ignore, on, wait, link, "
          "fault, let, option or include (nearest: expect)\nexpcet KeepAlive\n^",
          "dir/a:4:17: the line ends, expected \" at the end of the text\n"
          "let name = \"open\n                ^",
          "dir/sub/b:1:9: found \"../a\", expected a file that does not include this one: dir/a "
          "includes dir/sub/b includes dir/a\ninclude ../a\n        ^",
          "dir/sub/b:2:6: found \"3\", expected a length of time, as 250us, 20ms, 1.5s or 3m\n"
          "wait 3\n     ^",
          "dir/a:8:9: found \"nope\", expected a file that can be read; dir/nope: no such file\n"
          "include nope\n        ^",
          "dir/a:9:33: found \"x\", expected a time of 24h at most, as 250us, 2ms or 1.5s\n"
          "fault < latency delay=$t jitter=x\n                                ^"));
}

TEST(ScenarioReaderTest, BoundsWhatFilesInclude) {
  std::map<std::string, std::string> files{{"dir/a", "include f0\ninclude f0\n"}};
  for (int depth = 0; depth < 30; ++depth) {
    std::string& text = files["dir/f" + std::to_string(depth)];
    const std::string next = "include f" + std::to_string(depth + 1) + "\n";
    text = next + next;
  }
  EXPECT_THAT(errorsOf(files).front(), HasSubstr("no more than 20 files in one another"));
  files = {{"dir/a", ""}, {"dir/f", ""}};
  for (int count = 0; count < 1001; ++count) files["dir/a"] += "include f\n";
  EXPECT_THAT(errorsOf(files), ElementsAre(HasSubstr("no more than 1,000 files"),
                                           HasSubstr("no more than 1,000 files")));
  files["dir/f"] = std::string();
  for (int count = 0; count < 100'001; ++count) files["dir/f"] += "wait 0\n";
  files["dir/a"] = "include f\n";
  EXPECT_THAT(errorsOf(files), ElementsAre(HasSubstr("no more than 100,000 statements")));
}

std::string convert(const std::string& records) {
  std::istringstream input(records);
  std::ostringstream output;
  const auto reader = openRecords(input, InputFormat::kTextLines);
  ScenarioWriter writer(output, "from a test");
  TrafficRecord record;
  while (reader->next(record)) writer.write(record);
  return output.str();
}

// What a run gave becomes a scenario that the same application passes, and that says no secret.
TEST(ScenarioWriterTest, MakesAScenarioThatTheSameApplicationPasses) {
  const Scenario scenario = scenarioFrom(R"(
    option seed=3
    ignore KeepAlive
    expect SystemTime
    expect VarnoMode
    send   HudVersion modelName=HUD systemVersion=1.9& bleVersion=1.4
    expect BluetoothEnable
    expect SoftwareUpdateCommand
    send   WifiStationStatus eventType=0
    expect WifiStationMode
    send   noise FF 41
    send   raw 02 7D 7E 63 63 03
    expect SoftwareUpdateCancel within 20s
    expect SocialNotification
    fault  < slicer size=3 delay=1ms count=1
    send   WifiStationStatus eventType=2 errorMessage="no \"x\" # y"
    expect WifiStationMode within 10s
    link   close
    expect link up
    expect SystemTime
  )");
  ScenarioOptions shown;
  const ScenarioRun first = runScenario(scenario, shown);
  ASSERT_EQ(first.result.outcome, ScenarioOutcome::kPassed) << first.failure();
  const std::string text = convert(first.recordsInClear);
  EXPECT_THAT(text, Not(HasSubstr("sesame")));
  EXPECT_THAT(text,
              HasSubstr("expect WifiStationMode ssid=\"Garage\" password=* securityType=2\n"));
  const ScenarioRun again = runScenario(scenarioFrom(text));
  EXPECT_EQ(again.result.outcome, ScenarioOutcome::kPassed) << again.failure() << '\n' << text;
  EXPECT_GE(again.result.cases.size(), first.result.cases.size());
}

// A relay tells of two links, of which the scenario has the one to the phone.
TEST(ScenarioWriterTest, MakesAScenarioOfWhatARelayRecorded) {
  const std::string text = convert(
      "link up # display side: tcp://hud:1\n"
      "link up # phone side: pty:///dev/pts/1\n"
      "> VarnoMode\n"
      "link down # phone side: the peer hung up\n"
      "link down # display side: this side hung up\n"
      "link up # phone side: pty:///dev/pts/1\n"
      "link up # display side: tcp://hud:1\n"
      "> GpsStatus\n"
      "link down # display side: the peer hung up\n"
      "link down # phone side: this side hung up\n"
      "link up # phone side: pty:///dev/pts/1\n"
      "link up # display side: tcp://hud:1\n");
  std::vector<std::string> links;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.find("link") != std::string::npos) links.push_back(line);
  }
  EXPECT_THAT(links,
              ElementsAre("expect link down", "expect link up", "link   close", "expect link up"));
}

}  // namespace
}  // namespace varno::test
