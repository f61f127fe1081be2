#include "tests/display/ScenarioSupport.h"

#include <gmock/gmock.h>

namespace varno::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

// As the display, against an application that behaves well.
TEST(ScenarioRunTest, FollowsTheStatements) {
  const ScenarioRun run = runScenario(scenarioFrom(R"(
    option timeout=2s seed=7
    let network = Garage
    let which = 1
    ignore KeepAlive
    expect SystemTime timeInMillis>0 timeZoneId=?zone
    expect VarnoMode mode=0
    send   WifiStationStatus eventType=0
    expect WifiStationMode ssid=$network password=* within 5s
    send   WifiStationStatus eventType=2 errorMessage=$zone
    reject WifiStationMode for 2900ms    # it waits for 3 s
    expect WifiStationMode ssid~^G.*e$ securityType<=2 within 200ms
    fault  < corrupt byte=$which bit=0 count=1
    send   WifiStationStatus eventType=0   # now of another family
    reject WifiStationMode for 1s
    on     FullScreen isFullScreen=?is send VarnoAppStart isVarnoAppStart=false
    send   UartConnection
    expect UartConnectionCheck
    link   close
    wait   1m
    expect link up within 10s
    expect SystemTime timeZoneId=$zone
    expect VarnoMode
    send   raw 02 7D 7E 63 63 03
    send   noise FF 41
    send   VarnoAppConnection isVarnoAppConnected=false
    expect HudDisconnect
    fault  < limit bytes=2
    send   UartConnection
    expect link down
    expect link up
    expect SystemTime
  )"));
  EXPECT_EQ(run.result.outcome, ScenarioOutcome::kPassed) << run.failure() << '\n' << run.records;
  EXPECT_EQ(run.result.seed, 7U);
  EXPECT_EQ(run.result.cases.size(), run.result.passed());
  EXPECT_THAT(run.records, HasSubstr("ssid=\"Garage\" password=***"));
  EXPECT_THAT(run.records, Not(HasSubstr("sesame")));
}

struct FailingScenario {
  const char* text;
  ScenarioOutcome outcome;
  const char* begins;  // of the failure's text
  const char* has;     // a part of it
};

TEST(ScenarioRunTest, TellsWhatFailed) {
  using Outcome = ScenarioOutcome;
  const FailingScenario kScenarios[] = {
      {"ignore KeepAlive\nexpect SystemTime timeInMillis<=3 timeZoneId~^America", Outcome::kFailed,
       "test.varno:2:8: expect SystemTimeCommandPacket timeInMillis<=3 timeZoneId~^America within "
       "5s: another packet came\n"
       "    field         expected                 came\n"
       "    type          SystemTimeCommandPacket  SystemTimeCommandPacket\n"
       "  ! timeInMillis  <=3                      1500000000000\n"
       "  ! timeZoneId    ~^America                \"Europe/Berlin\"\n"
       "  last before it:\n"
       "  (1500000000.000000000) link up\n"
       "  (1500000000.000000000) > SystemTimeCommandPacket timeInMillis=1500000000000 ",
       ""},
      {"ignore *\nexpect SystemTime timeInMillis=3 within 1.5s", Outcome::kFailed,
       "test.varno:2:8: expect SystemTimeCommandPacket timeInMillis=3 within 1.5s: no such packet "
       "came within 1.5s; of what was ignored or answered, this is most like it",
       "! timeInMillis  =3 "},
      {"ignore KeepAlive\nignore SystemTime\nignore VarnoMode\nsend WifiStationStatus eventType=0\n"
       "expect WifiStationMode password=secret ssid=?name",
       Outcome::kFailed,
       "test.varno:5:8: expect WifiStationModeCommandPacket password=*** ssid=?name within 5s: "
       "another",
       "! password      =***                          ***\n"},
      {"ignore *\nsend WifiStationStatus eventType=0\nreject WifiStationMode for 1s",
       Outcome::kFailed,
       "test.varno:3:8: reject WifiStationModeCommandPacket for 1s: such a packet came", "type "},
      {"ignore *\nexpect link down within 1h", Outcome::kFailed,
       "test.varno:2:8: expect link down within 1h: the link did not go down within 1h",
       "> KeepAliveCommandPacket"},
      {"link close\nsend UartConnection", Outcome::kLinkFailed,
       "test.varno:2:6: send UartConnectionEventPacket: the scenario closed the link, and did not "
       "open it again",
       ""},
      {"fault < limit bytes=1\nsend UartConnection\nsend UartConnection", Outcome::kLinkFailed,
       "test.varno:3:6: send UartConnectionEventPacket: the link went down before; \"expect link "
       "up\" would wait for it",
       "link down # limit"},
      {"ignore *\nexpect HudReset within 1ms", Outcome::kFailed,
       "test.varno:2:8: ", "nothing came within 1ms but what is ignored"},
      {"ignore KeepAlive\nexpect SystemTime timeZoneId=?zone\nsend BluetoothStatus "
       "statusType=$zone",
       Outcome::kFailed, "test.varno:3:6: send BluetoothStatus ..: with the values of its ",
       "found \"Europe/Berlin\", expected a number from 0 to 255"},
      {"ignore *\non VarnoMode send UartConnection\non UartConnectionCheck send UartConnection\n"
       "wait 1s",
       Outcome::kFailed, "test.varno:3:4: on ", "more than 10,000 packets were answered at once"},
  };
  for (const FailingScenario& each : kScenarios) {
    const ScenarioRun run = runScenario(scenarioFrom(each.text));
    EXPECT_EQ(run.result.outcome, each.outcome) << each.text;
    EXPECT_THAT(run.failure(), StartsWith(each.begins)) << each.text;
    EXPECT_THAT(run.failure(), HasSubstr(each.has)) << each.text;
    EXPECT_THAT(run.failure(), Not(HasSubstr("sesame")));
  }
}

// A wire to nobody.
class DeadWire : public ScenarioWire {
 public:
  void send(std::span<const std::uint8_t>) override {}
  void addFault(Direction, const Fault&) override {}
  void close() override {}
  void reset() override {}
  void open() override {}
};

TEST(ScenarioRunTest, WaitsForTheLinkAtTheBeginningAsLongAsItSays) {
  const Scenario patient = scenarioFrom("expect link up within 1h\nsend UartConnection");
  const Scenario other = scenarioFrom("send UartConnection");
  ManualClock clock;
  DeadWire wire;
  ScenarioRunner runner(patient, clock, wire);
  ScenarioRunner otherRunner(other, clock, wire);
  for (ScenarioRunner* each : {&runner, &otherRunner}) each->start();
  clock.advance(std::chrono::minutes(59));
  for (ScenarioRunner* each : {&runner, &otherRunner}) each->advance();
  EXPECT_FALSE(runner.isFinished());
  EXPECT_EQ(otherRunner.result().outcome, ScenarioOutcome::kLinkFailed);
  runner.linkUp();
  EXPECT_EQ(runner.result().outcome, ScenarioOutcome::kPassed);
}

}  // namespace
}  // namespace varno::test
