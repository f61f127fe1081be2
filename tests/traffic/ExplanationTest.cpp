#include "tests/TestSupport.h"
#include "tests/traffic/TrafficSupport.h"

#include <VarnoTraffic/VarnoTraffic.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace varno::test {
namespace {

using testing::ElementsAre;

TEST(ExplanationTest, ShowsAFrameAsATable) {
  EXPECT_EQ(explainFrame(bytes("02 7D 7F 01 00 00 00 00 00 00 00 00 7D 00 00 7D 7E 47 FF 54 55 03"),
                         PacketDirectory())
                .table(),
            "offset  wire                     bytes                    field         value\n"
            "0000    02                                                STX\n"
            "0001    7D 7F                    02                       command       2 command\n"
            "0003    01                       01                       param1        1\n"
            "0004    00                       00                       param2        0 "
            "SystemTimeCommandPacket\n"
            "0005    00 00 00 00 00 .. 7D 00  00 00 00 00 00 00 00 7D  timeInMillis  125\n"
            "000E    00 7D 7E 47 FF 54        00 03 47 FF 54           timeZoneId    null\n"
            "0014    55                       55                       unread\n"
            "0015    03                                                ETX\n"
            "timeZoneId: text is not valid UTF-8 at byte 1: it is read as absent\n"
            "1 byte behind the last field is ignored\n"
            "delivered: SystemTimeCommandPacket\n");
}

struct ExplanationCase {
  const char* frame;
  Verdict verdict;
  std::vector<std::string> sentences;
};

TEST(ExplanationTest, SaysWhatIsWrong) {
  constexpr auto kDelivered = Verdict::kDelivered;
  constexpr auto kDropped = Verdict::kDropped;
  constexpr auto kRefused = Verdict::kRefused;
  const std::string tooShort = "InvalidArgumentException: RawPacket should be greater than 4.";
  const std::string noMarks =
      "InvalidArgumentException: RawPacket should be contained STX and ETX.";
  const std::string ends =
      "IndexOutOfBoundsException: Attempted to access an array index that is out of bounds";
  const ExplanationCase kCases[] = {
      {"02 7D 7F 0F 00 03", kDelivered, {}},
      {"", kRefused, {tooShort}},
      {"02 01 00 03", kRefused, {tooShort, "frame ends before param2"}},
      {"FF 41 00 00 00 03", kRefused, {noMarks}},
      {"02 7D 7F 01 00 00 00",
       kRefused,
       {noMarks, "payload ends inside timeInMillis: 8 bytes needed, 2 are there"}},
      {"02 7D 7F 7D 03",
       kRefused,
       {ends, "frame ends before param1", "param1: 7D at the end, its second byte is missing"}},
      {"02 7D 7E 63 63 03",
       kDropped,
       {"unknown id 3/99/99 (nearest: WifiStationStatusEventPacket 3/6/0)"}},
      {"02 7D 7F 01 00 00 00 00 00 00 00 00 00 00 7D 7E 47 03",
       kDropped,
       {"payload ends inside timeZoneId: 3 bytes announced, 1 is there"}},
      {"02 7D 7F 01 00 00 00 00 00 00 00 00 00 00 03",
       kDropped,
       {"payload ends inside timeZoneId: 2 bytes needed, 1 is there"}},
      {"02 7D 7F 01 00 00 00 00 00 00 00 00 00 80 00 41 03",
       kDelivered,
       {"timeZoneId: count -32768 is negative: it is read as empty text, and the text's bytes are "
        "not read",
        "1 byte behind the last field is ignored"}},
      {"02 7D 7F 0F 7D 7D 03",
       kDelivered,
       {"param2: 7D 7D stands for 00, which needs no stuffing"}},
      {"02 02 0F 00 03", kDelivered, {"command: 02 stands here unstuffed"}},
      {"02 7D 7F 09 08 05 00 00 00 00 00 00 00 00 00 00 00 7D 7F 00 01 41 00 01 41 03",
       kDelivered,
       {"enable: 5 is read as true", "packageNameSet: 2 texts announced, 1 of them different"}},
      {"02 7D 7F 09 08 00 00 00 00 00 00 00 00 00 FF FF FF FF 03",
       kDelivered,
       {"packageNameSet: count -1 is negative: it is read as an empty set"}},
      {"02 7D 7F 09 08 00 00 00 00 00 00 00 00 00 00 00 00 01 00 01 FF 03",
       kDropped,
       {"a text in packageNameSet is not valid UTF-8"}},
      {"02 7D 7E 05 00 00 05 41 26 42 26 43 03", kDelivered, {}},
      {"02 7D 7E 05 00 00 01 41 03",
       kDropped,
       {"payload is refused by HudVersionEventPacket (One string "
        "\"modelName&systemVersion&bleVersion\" when read; written without the second \"&\", so "
        "that a packet does not read back what it wrote)"}},
  };
  const LogCapture log;
  const PacketDirectory directory;
  for (const ExplanationCase& test : kCases) {
    const Explanation explanation = explainFrame(bytes(test.frame), directory);
    EXPECT_EQ(explanation.verdict, test.verdict) << test.frame;
    EXPECT_EQ(explanation.sentences(), test.sentences) << test.frame;
  }
}

// Of a frame that is not sound, the password may have been read as what stands behind it.
TEST(ExplanationTest, HidesSecrets) {
  const PacketRegistration<EveryFieldPacket> registration;
  const std::string head = "02 7D 7F 10 00 00 01 41 ";
  const std::tuple<std::string, const char*, const char*> kCases[] = {
      {"00 01 42 00 00 00 04 03",
       "WifiStationModeCommandPacket ssid=\"A\" password=*** "
       "securityType=4",
       "02 7D 7F 10 00 00 01 41 ** ** ** 00 00 00 04 03"},
      {"80 00 42 42 42 42 42 03", "", "02 7D 7F 10 00 00 01 41 ** ** ** ** ** ** ** 03"},
      {"00 7D 7E 42 42 03", "", "02 7D 7F 10 00 00 01 41 ** ** ** ** ** 03"},
      {"80 00 42 42 42 42 42 7D 41 03", "",
       "02 7D 7F 10 00 00 01 41 ** ** ** ** ** ** ** ** ** 03"},
      {"00 7D 7E 42 42", "", "02 7D 7F 10 00 00 01 41 ** ** ** ** **"},
  };
  for (const auto& [tail, line, frame] : kCases) {
    TrafficRecord record;
    record.bytes = bytes(head + tail);
    const std::string text = notationOf(record);
    const std::string expected = *line != '\0' ? line : "raw " + std::string(frame);
    EXPECT_EQ(text.substr(0, text.find(" #: ")), expected);
    EXPECT_EQ(text.find('B'), std::string::npos) << text;
    EXPECT_EQ(text.find("7D 41"), std::string::npos) << text;
    std::string json;
    JsonPrinter().append(json, record);
    std::string digits = frame;
    std::erase(digits, ' ');
    EXPECT_NE(json.find(digits), std::string::npos) << json;
    EXPECT_EQ(text.find("16962"), std::string::npos) << text;  // 42 42
    EXPECT_EQ(explainFrame(record.bytes, PacketDirectory()).table().find("42"), std::string::npos);
  }
}

TEST(LintTest, TellsWhatTheWireDoesNotCarry) {
  const PacketRegistration<EveryFieldPacket> registration;
  EveryFieldPacket packet;
  packet.text.reset();
  EXPECT_THAT(lint(packet), ElementsAre());
  packet.local = 8;
  EXPECT_THAT(lint(packet), ElementsAre("local: the receiver reads another value"));
  packet.text = std::string(0x8000, 'a');
  packet.names = {std::string(0x10001, 'a')};
  packet.wheels.resize(2);
  packet.wheels[1].maker = "a\xFF";
  EXPECT_THAT(lint(packet),
              ElementsAre("text: text of 32768 bytes: the receiver reads an empty one",
                          "names: text of 65537 bytes: only 1 of them go out",
                          "wheels[1].maker: text is not valid UTF-8 at byte 1: an empty one goes "
                          "out"));
  HudVersionEventPacket version;
  version.setModelName("A");
  const LogCapture log;
  EXPECT_THAT(lint(version), ElementsAre(testing::StartsWith(
                                 "the receiver does not read the packet: payload is refused")));
}

}  // namespace
}  // namespace varno::test
