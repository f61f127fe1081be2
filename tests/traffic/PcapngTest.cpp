#include "tests/TestSupport.h"
#include "tests/traffic/RandomRecords.h"

#include <VarnoNetwork/Network/HudException.h>
#include <VarnoTraffic/VarnoTraffic.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <limits>
#include <set>
#include <sstream>

namespace varno {

// Named as GoogleTest asks for it.
// NOLINTNEXTLINE(readability-identifier-naming)
static void PrintTo(const TrafficRecord& record, std::ostream* out) {
  *out << record.time.value_or(0) << ' '
       << (record.direction ? directionText(*record.direction) : "?") << ' '
       << recordKindText(record.kind) << ' ' << record.bytes.size() << " bytes '" << record.note
       << '\'';
}

namespace test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

struct ReadResult {
  std::vector<TrafficRecord> records;
  std::vector<std::string> warnings;
};

ReadResult readCapture(const std::string& file, InputFormat format = InputFormat::kPcapng) {
  std::istringstream stream(file);
  const auto reader = openRecords(stream, format);
  ReadResult result;
  reader->setOnWarning(
      [&](const ReadWarning& warning) { result.warnings.push_back(warning.text()); });
  TrafficRecord record;
  while (reader->next(record)) result.records.push_back(record);
  EXPECT_FALSE(reader->next(record));
  EXPECT_EQ(reader->warnings(), result.warnings.size());
  return result;
}

std::string written(const std::vector<TrafficRecord>& records) {
  std::ostringstream stream;
  PcapngWriter writer(stream);
  for (const TrafficRecord& record : records) EXPECT_TRUE(writer.write(record));
  return stream.str();
}

std::string characters(std::string_view hex) {
  const Bytes octets = bytes(hex);
  return {octets.begin(), octets.end()};
}

TEST(Pcapng, GivesBackWhatWasWritten) {
  for (std::uint32_t seed = 0; seed < 4; ++seed) {
    const auto records = randomRecords(seed, 200, 700'000);
    const auto [found, warnings] = readCapture(written(records));
    EXPECT_EQ(found, records) << "seed " << seed;
    EXPECT_THAT(warnings, IsEmpty());
  }
}

TEST(Pcapng, IsReadUpToTheLastWholeRecordWhereverItBreaksOff) {
  const auto records = randomRecords(1, 12, 40);
  std::vector<std::size_t> ends{written({}).size()};
  for (std::size_t count = 1; count <= records.size(); ++count) {
    ends.push_back(
        written({records.begin(), records.begin() + static_cast<std::ptrdiff_t>(count)}).size());
  }
  const std::string file = written(records);
  std::set<std::size_t> blockEnds;
  for (std::size_t at = 0; at < file.size(); at += static_cast<std::uint8_t>(file[at + 4])) {
    if (at > 0) blockEnds.insert(at);
  }
  for (std::size_t length = 0; length < file.size(); ++length) {
    const auto [found, warnings] = readCapture(file.substr(0, length));
    const auto whole = std::upper_bound(ends.begin(), ends.end(), length) - ends.begin();
    const auto expected =
        std::span(records).first(whole == 0 ? 0 : static_cast<std::size_t>(whole - 1));
    ASSERT_EQ(found, std::vector(expected.begin(), expected.end())) << length;
    ASSERT_EQ(warnings.empty(), blockEnds.contains(length)) << length;
  }
}

// The section's head, one interface of link type 147 without options, and so on, by hand.
const char* const kLittle =
    "0A0D0D0A 1C000000 4D3C2B1A 0100 0000 FFFFFFFFFFFFFFFF 1C000000"
    "01000000 14000000 9300 0000 00000000 14000000";
const char* const kBig =
    "0A0D0D0A 0000001C 1A2B3C4D 0001 0000 FFFFFFFFFFFFFFFF 0000001C"
    "00000001 00000014 0093 0000 00000000 00000014";

struct FileCase {
  const char* what;
  std::string hex;
  std::vector<TrafficRecord> records;
  std::vector<std::string> warnings;  // parts of them
};

constexpr std::int64_t kMicrosecond = 1000;
const Bytes kShortPacket = {0x02, 0x01, 0x03};

std::vector<FileCase> fileCases() {
  const TrafficRecord plain{kMicrosecond, {}, RecordKind::kFrame, kShortPacket, {}};
  // Time 1 in microseconds, 3 bytes.
  const std::string packet =
      "06000000 24000000 00000000 00000000 01000000 03000000 03000000 02010300 24000000";
  const std::string bigPacket =
      "00000006 00000024 00000000 00000000 00000001 00000003 00000003 02010300 00000024";
  const auto interface = [](const std::string& options, std::size_t length) {
    const std::string total = hex(std::vector{static_cast<std::uint8_t>(length)}) + "000000";
    return "0A0D0D0A 1C000000 4D3C2B1A 0100 0000 FFFFFFFFFFFFFFFF 1C000000 01000000" + total +
           "E9FD 0000 00000000" + options + total;
  };
  const auto at = [&](std::int64_t time) {
    TrafficRecord record = plain;
    record.time = time;
    return record;
  };
  TrafficRecord untimed = plain;
  untimed.time.reset();
  TrafficRecord torn = plain;
  torn.kind = RecordKind::kTorn;
  TrafficRecord noted{kMicrosecond, Direction::kToPhone, RecordKind::kShort, kShortPacket, "a\nb"};
  return {
      {"little-endian", kLittle + packet, {plain}, {}},
      {"big-endian", kBig + bigPacket, {plain}, {}},
      {"two sections of either byte order",
       kLittle + packet + kBig + bigPacket,
       {plain, plain},
       {}},
      {"a block and options that nobody knows",
       std::string(kLittle) + "99000000 10000000 FFFFFFFF 10000000" +
           "06000000 40000000 00000000 00000000 01000000 03000000 03000000 02010300" +
           "0100 0100 61000000 1234 0000 0100 0100 62000000 0200 0400 02000004 40000000",
       {noted},
       {}},
      {"link type 65001, nanoseconds, an offset of 2 s",
       interface("0900 0100 09000000 0E00 0800 0200000000000000", 0x28) + packet,
       {at(2'000'000'001)},
       {}},
      {"a time in 1024ths", interface("0900 0100 8A000000", 0x1C) + packet, {at(976'562)}, {}},
      {"a time in 10^-12 s", interface("0900 0100 0C000000", 0x1C) + packet, {at(0)}, {}},
      {"a time beyond all",
       interface("0900 0100 00000000 0E00 0800 FFFFFFFFFFFFFF7F", 0x28) + packet,
       {at(std::numeric_limits<std::int64_t>::max())},
       {}},
      {"a simple packet",
       std::string(kLittle) + "03000000 14000000 03000000 02010300 14000000",
       {untimed},
       {}},
      {"a packet of the obsolete kind",
       std::string(kLittle) +
           "02000000 24000000 0000FFFF 00000000 01000000 03000000 03000000 02010300 24000000",
       {plain},
       {}},
      {"a packet of which not all was captured",
       std::string(kLittle) +
           "06000000 24000000 00000000 00000000 01000000 03000000 09000000 02010300 24000000",
       {torn},
       {"only 3 were captured"}},
      {"another link type",
       "0A0D0D0A 1C000000 4D3C2B1A 0100 0000 FFFFFFFFFFFFFFFF 1C000000"
       "01000000 14000000 0100 0000 00000000 14000000" +
           packet + packet,
       {},
       {"link type 1,"}},
      {"a packet of no interface",
       std::string(kLittle) +
           "06000000 20000000 05000000 00000000 01000000 00000000 00000000 20000000" + packet,
       {plain},
       {"interface 5"}},
      {"a packet longer than its block",
       std::string(kLittle) +
           "06000000 20000000 00000000 00000000 01000000 FFFFFFFF FFFFFFFF 20000000" + packet,
       {plain},
       {"cannot be read"}},
      {"a block that says 4 GB",
       kLittle + packet + "06000000 FCFFFFFF 00000000",
       {plain},
       {"too long", "breaks off"}},
      {"a block that says 64 KB",
       kLittle + packet + "06000000 00000100 00000000",
       {plain},
       {"12 are there"}},
      {"a block of 8 bytes",
       kLittle + packet + "06000000 08000000 08000000",
       {plain},
       {"of 8 bytes"}},
      {"a block whose lengths differ",
       kLittle + packet + "99000000 10000000 FFFFFFFF 0C000000" +
           "06000000 20000000 00000000 00000000 01000000 00000000 00000000 24000000",
       {plain},
       {"lengths of a block differ"}},
      {"version 2 between others",
       kLittle + packet + "0A0D0D0A 1C000000 4D3C2B1A 0200 0000 FFFFFFFFFFFFFFFF 1C000000" +
           packet + kLittle + packet,
       {plain, plain},
       {"Version 2"}},
      {"a record that does not go on",
       std::string(kLittle) +
           "06000000 30000000 00000000 00000000 01000000 03000000 03000000 02010300"
           "0200 0400 00000008 00000000 30000000",
       {},
       {"several packets"}},
      {"something else", "02 01 01 00 03 02 01 01 00 03 02 01 01", {}, {"does not begin"}},
  };
}

TEST(Pcapng, ReadsWhatOthersWriteAndSaysWhatItCannot) {
  for (const FileCase& row : fileCases()) {
    SCOPED_TRACE(row.what);
    const auto [records, warnings] = readCapture(characters(row.hex));
    EXPECT_EQ(records, row.records);
    ASSERT_EQ(warnings.size(), row.warnings.size()) << testing::PrintToString(warnings);
    for (std::size_t at = 0; at < warnings.size(); ++at) {
      EXPECT_THAT(warnings[at], HasSubstr(row.warnings[at]));
    }
  }
}

TEST(PcapngWriter, RefusesBytesWhereThereAreNone) {
  std::ostringstream stream;
  PcapngWriter writer(stream);
  EXPECT_EQ(thrownBy([&] {
              writer.write({{}, {}, RecordKind::kLinkUp, {1}, {}});
            }),
            "InvalidArgumentException: A record of kind 'link up' has no bytes");
}

// Takes so many bytes, as a disk does.
class FullBuffer : public std::stringbuf {
 public:
  explicit FullBuffer(std::size_t room) : room_(room) {}

 protected:
  std::streamsize xsputn(const char* text, std::streamsize count) override {
    const auto taken = std::min<std::streamsize>(count, static_cast<std::streamsize>(room_));
    room_ -= static_cast<std::size_t>(taken);
    return std::stringbuf::xsputn(text, taken);
  }

 private:
  std::size_t room_;
};

TEST(PcapngWriter, SaysThatTheDiskIsFullAndLeavesWhatCanBeRead) {
  const auto records = randomRecords(2, 10, 40);
  FullBuffer disk(written({records.begin(), records.begin() + 6}).size() + 20);
  std::ostream stream(&disk);
  PcapngWriter writer(stream);
  std::size_t taken = 0;
  for (const TrafficRecord& record : records) taken += writer.write(record) ? 1U : 0U;
  EXPECT_EQ(taken, 6U);
  EXPECT_FALSE(writer.flush());
  const auto found = readCapture(disk.str());
  EXPECT_EQ(found.records, std::vector(records.begin(), records.begin() + 6));
  EXPECT_EQ(found.warnings.size(), 1U);
}

}  // namespace
}  // namespace test
}  // namespace varno
