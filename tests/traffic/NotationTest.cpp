#include "tests/TestSupport.h"
#include "tests/traffic/TrafficSupport.h"

#include <VarnoTraffic/VarnoTraffic.h>

#include <gtest/gtest.h>

#include <sstream>

namespace varno::test {
namespace {

// What is printed, in whichever form, is the same frame when it is read.
TEST(NotationTest, ReadsBackWhatItPrints) {
  const PacketRegistration<EveryFieldPacket> registration;
  const PacketDirectory directory;
  NotationPrinter text(Secrets::kShown, directory);
  const NotationReader textReader(directory);
  JsonPrinter json(Secrets::kShown, directory);
  const JsonReader jsonReader(directory);
  Random random(1);
  for (const PacketDirectory::Entry& entry : directory.entries()) {
    for (int round = 0; round < 60; ++round) {
      const auto packet = entry.type.make();
      RandomFiller filler(random);
      if (round > 0) packet->editFields(filler);
      NotationError error;

      std::string line;
      text.append(line, *packet);
      const auto again = textReader.readPacket(line, error);
      ASSERT_NE(again, nullptr) << error.text() << '\n' << error.pointTo(line);
      const Bytes frame = frameOf(*packet);
      ASSERT_EQ(hex(frameOf(*again)), hex(frame)) << line;
      ASSERT_EQ(notationOf(*again, Secrets::kShown), line);

      // Damaged and whole.
      TrafficRecord record{
          .time = -static_cast<std::int64_t>(std::uint64_t{random()} << 31 ^ random()),
          .direction = Direction::kToPhone,
          .bytes = frame,
          .note = randomText(random)};
      if (round % 4 == 3)
        record.bytes[random() % frame.size()] ^= Bytes{1, 2, 4, 127}[random() % 4];
      if (round % 10 == 9) record.bytes.resize(random() % frame.size());
      TrafficRecord read;
      line.clear();
      text.append(line, record);
      ASSERT_TRUE(textReader.read(line, read, error)) << error.text() << '\n' << line;
      ASSERT_EQ(read, record) << line;
      ASSERT_EQ(line.find('\n'), std::string::npos);

      record.note = "\xC2\x85 #: \"\\\n";  // JSON has no text that is not valid UTF-8
      line.clear();
      json.append(line, record);
      ASSERT_TRUE(jsonReader.read(line, read, error)) << error.text() << '\n' << line;
      ASSERT_EQ(read, record) << line;
    }
  }
}

// Other ways to write the same packet.
TEST(NotationTest, ReadsWhatPeopleWrite) {
  const PacketRegistration<EveryFieldPacket> registration;
  const NotationReader reader;
  const std::pair<const char*, const char*> kLines[] = {
      {"KeepAlive", "KeepAliveCommandPacket"},
      {"KeepAliveCom # every second", "KeepAliveCommandPacket"},
      {"DisplaySpeed", "DisplaySpeedCommandPacket isSpeedInformationVisible=false"},
      {"SystemTime  timeZoneId=GMT+1\ttimeInMillis=0x7D \r\n",
       R"(SystemTimeCommandPacket timeInMillis=125 timeZoneId="GMT+1")"},
      {R"(SystemTime timeZoneId="\"\\\n\xC3\xA9")",
       "SystemTimeCommandPacket timeInMillis=0 timeZoneId=\"\\\"\\\\\\n\xC3\xA9\""},
      {"DisplayNotificationSetting packageNameSet=[ b , \"a,]\" ] enable=1 textColor=0xFFFFFF00",
       "DisplayNotificationSettingCommandPacket enable=true textColor=-256 icon=0 "
       "packageNameSet=[\"a,]\",\"b\"]"},
      {"BluetoothConnectionE soundDevice.name=null soundDevice={isConnected=true} eventType=-1",
       ""},
      {"BluetoothConnectionE soundDevice={isConnected=true} soundDevice.name=null",
       "BluetoothConnectionEventPacket soundDevice.name=null soundDevice.address=\"\" "
       "soundDevice.isConnected=true event=0"},
  };
  for (const auto& [line, expected] : kLines) {
    NotationError error;
    const auto packet = reader.readPacket(line, error);
    EXPECT_EQ(packet ? notationOf(*packet, Secrets::kShown) : "", expected) << line << '\n'
                                                                            << error.text();
  }
  NotationError error;
  const auto packet = reader.readPacket(
      "EveryField real=1e-3 precise=nan pin=5 gear=65535 wheels=[{pressure=-0 tread=[1,0xFF]},{}] "
      "table=[[],[1]] sets=[[x]] flags=[1,false] texts=[null,\"null\"] spare.maker=Z keys=[]",
      error);
  ASSERT_NE(packet, nullptr) << error.text();
  EXPECT_EQ(
      notationOf(*packet),
      "EveryFieldPacket flag=false byte=0 int16=0 int32=0 int64=0 uint16=0 uint32=0 uint64=0 "
      "real=0.001 precise=nan text=\"\" pin=*** names=[] gear=65535 spare.pressure=2.5 "
      "spare.maker=\"Z\" spare.tread=[] lent.pressure=2.5 lent.maker=\"\" lent.tread=[] "
      "flags=[true,false] numbers=[] texts=[null,\"null\"] wheels=[{pressure=-0 maker=\"\" "
      "tread=[1,255]},{pressure=2.5 maker=\"\" tread=[]}] sets=[[\"x\"]] table=[[],[1]] keys=*** "
      "local=7");
}

struct ErrorCase {
  const char* line;
  std::size_t column;
  const char* said;  // a part of the error's text
};

TEST(NotationTest, SaysWhatItExpected) {
  const PacketRegistration<EveryFieldPacket> registration;
  const std::string deep(3000, '[');
  const std::string deepRecords = "EveryField spare" + [] {
    std::string dots;
    for (int count = 0; count < 3000; ++count) dots += ".a";
    return dots;
  }() + "=1";
  const ErrorCase kCases[] = {
      {"", 1, "the line ends, expected a packet type"},
      {"KeepAlvie", 1, "(nearest: KeepAliveCommandPacket)"},
      {"> BluetoothConnection", 3,
       "BluetoothConnectionCommandPacket, BluetoothConnectionEventPacket"},
      {"KeepAlive x=1", 11, "no field"},
      {"SystemTime timeInMilis=5", 12, "(nearest: timeInMillis)"},
      {"SystemTime timeZoneId", 12, "expected field=value"},
      {"SystemTime timeZoneId=", 23, "expected a value"},
      {"SystemTime timeZoneId=a timeZoneId=b", 25, "each field once"},
      {"SystemTime timeZoneId=a#b", 24, "a blank"},
      {"SystemTime timeZoneId=a\"b", 24, "a blank"},
      {"SystemTime timeZoneId=\"GMT", 27, "the line ends"},
      {"SystemTime timeZoneId=\"\\xG0\"", 24, "\\xNN"},
      {"SystemTime timeInMillis=9223372036854775808", 25, "9223372036854775807"},
      {"SystemTime timeInMillis=null", 25, "a number"},
      {"EveryField byte=-1", 17, "from 0 to 255"},
      {"EveryField byte=0x100", 17, "from 0 to 255"},
      {"EveryField flag=yes", 17, "true or false"},
      {"EveryField real=1e39", 17, "that a float can hold"},
      {"EveryField real=0x10", 17, "a number"},
      {"EveryField precise=infinity", 20, "a number"},
      {"EveryField names=[a,a]", 21, "each text once"},
      {"EveryField names=a", 18, "a set of texts"},
      {"EveryField names=[a", 20, ", or ]"},
      {"EveryField spare=1", 18, "spare.field=value"},
      {"EveryField spare.size=1", 12, "a field: pressure, maker, tread"},
      {"EveryField wheels=[1]", 20, "a record"},
      {"EveryField wheels=[{maker=a size=2}]", 29, "pressure, maker, tread"},
      {"EveryField wheels=[{maker=a]", 28, "a blank"},
      {"EveryField numbers=[1,x]", 23, "a number"},
      {"EveryField pin=***", 16, "a secret that was hidden"},
      {"EveryField keys=***", 17, "a secret that was hidden"},
      {"raw 02 ** 03", 8, "a secret that was hidden"},
      {"raw 02 0", 8, "two hex digits"},
      {"noise FF#", 9, "a blank"},
      {"link sideways", 6, "up or down"},
      {"link up 02", 9, "a note"},
      {"(1.0000000001) KeepAlive", 1, "a time in seconds"},
      {"(9223372036.854775808) KeepAlive", 1, "a time in seconds"},
      {deepRecords.c_str(), 12, "fewer"},
      {"[", 1, "a packet type"},
      {"{", 2, "the line ends"},
      {"{\"kind\":\"frame\"}", 1, "frame, or type and fields"},
      {"{\"kind\":\"fram\"}", 9, "the kind of a record"},
      {"{\"kind\":\"note\",\"kind\":\"note\"}", 16, "each name once"},
      {"{\"tpye\":\"KeepAlive\"}", 2, "(nearest: type)"},
      {"{\"type\":\"KeepAlvie\"}", 9, "(nearest: KeepAliveCommandPacket)"},
      {"{\"type\":\"SystemTime\",\"fields\":{\"timeInMillis\":1.5}}", 47, "a number from"},
      {"{\"type\":\"WifiStationMode\",\"fields\":{\"password\":\"***\"}}", 48, "hidden"},
      {"{\"type\":\"KeepAlive\",\"fields\":{},\"frame\":\"0201010003\"}", 33, "no frame"},
      {"{\"frame\":\"0201**03\"}", 15, "hidden"},
      {"{\"kind\":\"note\",\"bytes\":\"02\"}", 16, "no such name"},
      {"{\"kind\":\"noise\",\"bytes\":\"0\"}", 26, "two hex digits"},
  };
  const NotationReader text;
  const JsonReader json;
  for (const ErrorCase& test : kCases) {
    TrafficRecord record;
    NotationError error;
    const std::string_view line = test.line;
    EXPECT_FALSE(line.starts_with('{') ? json.read(line, record, error)
                                       : text.read(line, record, error))
        << line;
    EXPECT_EQ(error.column, test.column) << line << '\n' << error.pointTo(line);
    EXPECT_NE(error.text().find(test.said), std::string::npos) << line << '\n' << error.text();
  }
  TrafficRecord record;
  NotationError error;
  EXPECT_FALSE(json.read(deep, record, error));
  EXPECT_FALSE(text.read("EveryField names=" + deep, record, error));
  EXPECT_FALSE(
      text.read("SystemTime timeZoneId=" + std::string(100, 'a') + "\x1B\"", record, error));
  EXPECT_EQ(error.pointTo("\xC3\xA9\t\x1Bx"), "\xC3\xA9..x\n    ^");
}

TEST(NotationTest, HidesTheRestOfASecretThatBreaksOff) {
  const Bytes begun = bytes("02 7D 7F 10 00 00 06 47");  // inside of the name before the password
  const struct {
    TrafficRecord record;
    const char* text;
    const char* json;
  } rows[] = {
      {{{}, Direction::kToDisplay, RecordKind::kTorn, begun, {}}, "10 00 ** **", "1000****"},
      {{{}, Direction::kToPhone, RecordKind::kNoise, {0x41}, {}}, "< noise 41", "\"41\""},
      {{{}, Direction::kToDisplay, RecordKind::kNoise, {0x41, 0x42}, {}}, "** **", "\"****\""},
      {{{}, Direction::kToDisplay, RecordKind::kFrame, kKeepAlive, {}}, "KeepAlive", "KeepAlive"},
      {{{}, Direction::kToDisplay, RecordKind::kNoise, {0x41}, {}}, "> noise 41", "\"41\""},
  };
  NotationPrinter lines;
  JsonPrinter json;
  for (const auto& row : rows) {
    std::string text;
    lines.append(text, row.record);
    EXPECT_NE(text.find(row.text), std::string::npos) << text;
    text.clear();
    json.append(text, row.record);
    EXPECT_NE(text.find(row.json), std::string::npos) << text;
  }
}

// Whole inputs, with a record of every kind and lines that are none.
TEST(NotationTest, ReadsAndWritesLines) {
  std::vector<TrafficRecord> records;
  for (const RecordKind kind : kRecordKinds) {
    TrafficRecord record{std::int64_t{-1}, Direction::kToDisplay, kind, {}, " a #: \\n\nnote "};
    if (mayHaveBytes(kind)) record.bytes = kKeepAlive;
    records.push_back(record);
    records.push_back({.kind = kind});
  }
  const auto check = [&](auto printer, const char* bad, const char* warning) {
    std::stringstream lines;
    lines << "\xEF\xBB\xBF# a comment\n\n";
    LineWriter writer(lines, std::move(printer));
    for (const TrafficRecord& record : records) ASSERT_TRUE(writer.write(record));
    lines << bad << "\r\n";
    ASSERT_TRUE(writer.write(records.front()));
    EXPECT_EQ(thrownBy([&] { writer.write({.kind = RecordKind::kNote, .bytes = {1}}); }),
              "InvalidArgumentException: A record of kind 'note' has no bytes");

    std::string warned;
    const auto reader = openRecords(lines);
    reader->setOnWarning([&](const ReadWarning& told) { warned += told.text(); });
    TrafficRecord record;
    for (const TrafficRecord& expected : records) {
      ASSERT_TRUE(reader->next(record)) << warned;
      EXPECT_EQ(record, expected);
    }
    EXPECT_TRUE(reader->next(record));
    EXPECT_FALSE(reader->next(record));
    EXPECT_EQ(warned, warning);
  };
  check(NotationPrinter(), "noise F", "in line 21: column 7: found \"F\", expected two hex digits");
  check(JsonPrinter(), "{\"kind\":1}",
        "in line 21: column 9: found \"1\", expected a text in quotes");
}

}  // namespace
}  // namespace varno::test
