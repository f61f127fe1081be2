#include "tests/TestSupport.h"
#include "tests/traffic/TrafficSupport.h"

#include <VarnoTraffic/VarnoTraffic.h>

#include <gtest/gtest.h>

#include <array>

namespace varno::test {
namespace {

constexpr std::array<std::string_view, 2> kEnds = {"within", "send"};

// The pattern, or what is wrong with it.
std::optional<PacketPattern> patternFrom(std::string_view text, std::string& error,
                                         const NotationVariables& variables = {}) {
  NotationError thrown;
  std::size_t at = 0;
  auto pattern = PacketPattern::read(text, at, kEnds, variables, PacketDirectory(), thrown);
  if (!pattern) error = thrown.text();
  return pattern;
}

struct MatchCase {
  const char* pattern;
  const char* packet;
  bool matches;
};

TEST(PacketPatternTest, ComparesFields) {
  const PacketRegistration<EveryFieldPacket> registration;
  const MatchCase kCases[] = {
      {"KeepAlive", "KeepAlive", true},
      {"KeepAlive", "HudReset", false},
      {"*", "HudReset", true},
      {"raw 02 7D 7F 0F 00 03 within 5s", "KeepAlive", true},
      {"raw 02 7D 7F 0F 00 03", "HudReset", false},
      {"EveryField int64>-5 int64<=0x10", "EveryField int64=16", true},
      {"EveryField int64<16", "EveryField int64=16", false},
      {"EveryField byte!=0xFF flag=1", "EveryField flag=true", true},
      {"EveryField real=0.1 precise=nan", "EveryField real=0.1 precise=nan(0x7FF8000000000001)",
       true},
      {"EveryField precise!=1", "EveryField precise=nan", true},
      {"EveryField text=null", "EveryField text=null", true},
      {"EveryField text=\"null\"", "EveryField text=null", false},
      {"EveryField text<B text>=A", "EveryField text=Az", true},
      {"EveryField text<B", "EveryField text=null", false},
      {"EveryField text=*", "EveryField text=\"\"", false},
      {"EveryField text=* names=* pin=*", "EveryField text=x names=[y]", true},
      {"EveryField names=b names!=b", "EveryField names=[a,b]", true},
      {"EveryField names=[b,a]", "EveryField names=[a,b]", true},
      {"EveryField names=[b]", "EveryField names=[a,b]", false},
      {"EveryField numbers!=[1,2] table=[[],[1]] keys=[]", "EveryField table=[[],[0x1]]", true},
      {"EveryField numbers=2", "EveryField numbers=[1,2]", true},
      {"EveryField wheels.pressure>2 wheels[1].maker=Z",
       "EveryField wheels=[{pressure=1},{pressure=3 maker=Z}]", true},
      {"EveryField wheels[1].maker=Z", "EveryField wheels=[{maker=Z}]", false},
      {"EveryField wheels=*", "EveryField", false},
      {"EveryField text~\"^a.\\\\d+$\" numbers~1$", "EveryField text=a\xC3\xA9\x37 numbers=[31]",
       true},
      {"EveryField int32~^-", "EveryField int32=5", false},
  };
  const NotationReader reader;
  for (const MatchCase& each : kCases) {
    std::string error;
    const auto pattern = patternFrom(each.pattern, error);
    ASSERT_TRUE(pattern) << each.pattern << '\n' << error;
    NotationError packetError;
    const auto packet = reader.readPacket(each.packet, packetError);
    ASSERT_NE(packet, nullptr) << packetError.text();
    EXPECT_EQ(pattern->matches(frameOf(*packet), packet.get()), each.matches)
        << each.pattern << '\n'
        << each.packet;
  }
}

TEST(PacketPatternTest, GivesValuesNames) {
  const NotationReader reader;
  NotationError error;
  std::string problem;
  NotationVariables variables{{"zone", "\"Z Z\""}, {"later", std::nullopt}};
  const auto packet = reader.readPacket("WifiStationMode ssid=\"a \\\"b\" password=x", error);
  const auto pattern = patternFrom("WifiStationMode ssid=?name password=?secret", problem);
  ASSERT_TRUE(pattern) << problem;
  EXPECT_EQ(pattern->names(), (std::vector<std::string>{"name", "secret"}));
  pattern->bind(*packet, variables);
  EXPECT_EQ(pattern->text(), "WifiStationModeCommandPacket ssid=?name password=?secret");

  TrafficRecord record;
  ASSERT_TRUE(reader.read("WifiStationMode ssid=$name password=$secret", variables, record, error));
  EXPECT_EQ(record.bytes, frameOf(*packet));
  bool isIncomplete = false;
  EXPECT_TRUE(reader.read("SystemTime timeZoneId=$zone timeInMillis=$later", variables, record,
                          error, &isIncomplete));
  EXPECT_TRUE(isIncomplete);
  const auto secret =
      patternFrom("WifiStationMode password=$secret ssid=$later", problem, variables);
  ASSERT_TRUE(secret) << problem;
  EXPECT_TRUE(secret->isIncomplete());
  EXPECT_EQ(secret->text(), "WifiStationModeCommandPacket password=*** ssid=$later");
}

TEST(PacketPatternTest, SaysWhatItExpected) {
  const std::pair<const char*, const char*> kCases[] = {
      {"", "column 1: the line ends, expected a packet type, raw and bytes, or *"},
      {"KeepAlive x=1", "column 11: found \"x\", expected no field: there is none"},
      {"SystemTime timeZoneID=1", "(nearest: timeZoneId)"},
      {"SystemTime timeInMillis", "column 12: found \"timeInMillis\", expected a field, one of ="},
      {"SystemTime timeInMillis=", "column 25: the line ends, expected a value"},
      {"SystemTime timeInMillis>x",
       "column 25: found \"x\", expected a number from -9223372036854"},
      {"SystemTime timeInMillis>[1]", "column 25: found \"[\", expected one value"},
      {"SystemTime timeZoneId=?1", "column 24: found \"1\", expected a name of letters"},
      {"SystemTime timeZoneId=a\"b", "column 24: found"},
      {"SystemTime timeZoneId~a(b",
       "column 23: found \"a(b\", expected in the regular expression: )"},
      {"SystemTime timeZoneId~a**",
       "column 25: found \"*\", expected in the regular expression: one"},
      {"SystemTime timeZoneId~[b-a]", "expected in the regular expression: a range from"},
      {"SystemTime timeZoneId~\\q", "expected in the regular expression: one of \\d"},
      {"SystemTime timeZoneId=$x", "expected a variable that was given a value above"},
      {"raw 02 x within 3s", "column 8: found \"x\", expected two hex digits"},
  };
  for (const auto& [text, said] : kCases) {
    std::string error;
    EXPECT_FALSE(patternFrom(text, error)) << text;
    EXPECT_NE(error.find(said), std::string::npos) << text << '\n' << error;
  }
}

// What makes other matchers recurse, or take time that grows without bound.
TEST(PacketPatternTest, FindsRegularExpressionsInBoundedTime) {
  const std::string longText(60'000, 'a');
  const std::tuple<std::string, std::string, bool> kCases[] = {
      {"^(a*)*b$", longText, false},
      {"(a|aa)+$", longText, true},
      {"(.*)(.*)(.*)(.*)(.*)x", longText, false},
      {"^((a{1,10}){1,10}){1,3}$", std::string(301, 'a'), false},
      {"^((a{1,10}){1,10}){1,3}$", std::string(300, 'a'), true},
      {"^a{0}b{2,}c?$", "bbb", true},
      {"^(ab|a)(c|bcd)$", "abcd", true},
      {"x|^$|y", "", true},
      {"^[^a-c\\d]+$", "xyz", true},
      {"^[]a^-]+$", "]a^-", true},
      {"\\.\\x41\\s\\W", ".A\t-", true},
      {"^...$", "a\xE2\x82\xAC\xFF", true},
      {"a$b|^c", "ab", false},
  };
  for (const auto& [expression, text, isFound] : kCases) {
    NotationError error;
    const auto condition = FieldCondition::read("ssid~" + expression, error);
    ASSERT_TRUE(condition) << error.text();
    WifiStationModeCommandPacket packet;
    packet.setSsid(text);
    EXPECT_EQ(condition->holds(packet), isFound) << expression;
  }
  for (const std::string& expression :
       {std::string("((((){500}){500}){500})"), std::string("(a{500}){500}"),
        std::string(10'000, '('), std::string(5'000, 'a')}) {
    NotationError error;
    EXPECT_FALSE(FieldCondition::read("ssid~" + expression, error)) << expression.substr(0, 20);
  }
}

}  // namespace
}  // namespace varno::test
