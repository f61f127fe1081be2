#include "tests/TestSupport.h"

#include <VarnoNetwork/VarnoNetwork.h>
#include <VarnoTraffic/VarnoTraffic.h>

#include <gmock/gmock.h>

#include <sstream>

namespace varno::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(InputFormat, IsToldByTheFirstBytes) {
  struct Case {
    std::string_view beginning;
    InputFormat format;
  };
  using namespace std::string_view_literals;
  const Case cases[] = {
      {"\x0A\x0D\x0D\x0A\x6C\0\0\0"sv, InputFormat::kPcapng},
      {"\xD4\xC3\xB2\xA1\x02\0\x04\0"sv, InputFormat::kPcap},
      {"\xA1\xB2\x3C\x4D\0\x02\0\x04"sv, InputFormat::kPcap},
      {"\xFF\x41\x02\x01\x01\0\x03"sv, InputFormat::kWire},
      {"", InputFormat::kWire},
      {"\n# recorded today\n  {\"kind\":\"frame\"}\n", InputFormat::kJsonLines},
      {"\xEF\xBB\xBF{}", InputFormat::kJsonLines},
      {"(1500000000.003000000) > KeepAliveCommandPacket\n", InputFormat::kTextLines},
      {"< WifiStationStatus errorMessage=\"\"", InputFormat::kTextLines},
      {"KeepAlive # every second", InputFormat::kTextLines},
      {"SystemTime timeInMillis=5", InputFormat::kTextLines},
      {"raw 02 7D 7E 63 63 03", InputFormat::kTextLines},
      {"# nothing yet\n", InputFormat::kTextLines},
      {"02 7D 7F 0F 00 03\n", InputFormat::kHexText},
      {"027D7F0F0003", InputFormat::kHexText},
      {"{0x02, 0x7d, 0x7f}", InputFormat::kJsonLines},  // the brace decides
      {"0x02, 0x7d, 0x7f", InputFormat::kHexText},
      {"\"\\x02\\x7D\\x7F\"  # in C", InputFormat::kHexText},
      {"FACE", InputFormat::kHexText},
      {"0000 41 42 43 44 45 46 41 42   ABCDEFAB", InputFormat::kHexDump},
      {"I/hud: ReceivePacket Dump start", InputFormat::kHexDump},
      {"2026-05-01 12:00:00 started", InputFormat::kHexDump},
      {"Display connected\n0000 41\n", InputFormat::kHexDump},
      {"\x1B[32mINFO\x1B[0m ready", InputFormat::kHexDump},
  };
  for (const Case& row : cases) {
    const Bytes beginning(row.beginning.begin(), row.beginning.end());
    EXPECT_EQ(inputFormatText(recognizeInput(beginning)), inputFormatText(row.format))
        << row.beginning;
  }
}

// As "> frame 02 01", with the note behind; and the warnings.
std::vector<std::string> read(const std::string& input) {
  std::istringstream stream(input);
  const auto reader = openRecords(stream);
  std::vector<std::string> lines;
  reader->setOnWarning([&](const ReadWarning& warning) { lines.push_back(warning.text()); });
  TrafficRecord record;
  while (reader->next(record)) {
    lines.emplace_back(record.direction ? directionText(*record.direction) : "?");
    lines.back().append(" ").append(recordKindText(record.kind));
    lines.back().append(" ").append(hex(record.bytes));
    if (!record.note.empty()) lines.back().append(" # ").append(record.note);
  }
  return lines;
}

TEST(InputFormat, WireBytesAndHexTextAreCutIntoPieces) {
  const auto expected = ElementsAre("? noise FF", "? frame 02 01 01 00 03", "? torn 02 41");
  const Bytes wire = bytes("FF 02 01 01 00 03 02 41");
  EXPECT_THAT(read({wire.begin(), wire.end()}), expected);
  EXPECT_THAT(read("FF 02 01\n  01 00 03 # a comment\n\n0x02,0x41\n"), expected);
  EXPECT_THAT(read("FF0201010003 0241"), expected);
  EXPECT_THAT(read("\\xFF\\x02\\x01\\x01\\x00\\x03\r\n\"\\x02A\"\r\n41"),
              ElementsAre("? noise FF", "? frame 02 01 01 00 03",
                          "in line 2: column 7 has half a byte; the rest of the line is left out",
                          "? torn 02 41"));
  EXPECT_THAT(
      read("02 01 01 00 03\n02 zz 01\n03"),
      ElementsAre("? frame 02 01 01 00 03",
                  "in line 2: column 4 has 'z', which is no hex digit; the rest of the line "
                  "is left out",
                  "? short 02 03"));
}

TEST(InputFormat, PcapIsNamed) {
  EXPECT_THAT(thrownBy([] { read("\xD4\xC3\xB2\xA1"); }), HasSubstr("pcap"));
}

class Loopback : public HudNetwork {
  bool sendPacketImpl(Bytes frame) override {
    handleRawPacket(frame);
    return true;
  }
};

// What the library itself writes is read back for every packet type, whatever is put around it.
TEST(HexDump, IsReadBackFromALog) {
  const MainThreadScope main;
  LogCapture log;
  Loopback network;
  network.setDumpPacket(true, true);
  std::vector<std::string> expected;
  for (const PacketType type : PacketCatalogue::packetTypes()) {
    const auto packet = type.make();
    const std::string frame = hex(frameOf(*packet));
    expected.push_back("> frame " + frame);
    expected.push_back("< frame " + frame);
    network.sendPacket(*packet);
  }
  const std::vector<std::string> lines = log.take();
  const std::pair<const char*, const char*> frameworks[] = {
      {"", "\n"},
      {"", "\r\n"},
      {"2026-05-01 12:00:00.125 [0004] INFO hud - ", "\n"},
      {"05-01 12:00:00.125  1234  5678 D hud:", "\nnothing of ours\n\n"},
      {"{\"time\":\"2026-05-01\",\"message\":\"", "\"}\n"},
      {"\x1B[32m[hud]\x1B[0m ", "\x1B[0m\n"},
  };
  for (const auto& [before, after] : frameworks) {
    std::string text = "log of today\n";
    for (const std::string& line : lines) text.append(before).append(line).append(after);
    EXPECT_EQ(read(text), expected) << before;
  }
}

TEST(HexDump, IsReadAsFarAsItIsThere) {
  struct Case {
    const char* text;
    std::vector<std::string> records;
  };
  const Case cases[] = {
      // Without the line before it; an editor took off the blanks of the second row.
      {"0000 02 01 01 00 41 41 41 41   ....AAAA\n"
       "0008 20 20 20 20 20 20 20 20\n"
       "0010 03                        ........\n",
       {"? frame 02 01 01 00 41 41 41 41 20 20 20 20 20 20 20 20 03"}},
      {"ReceivePacket Dump start\n0000 02 01 01 00               ........\n",
       {"in line 2: The log ends before the dump of ReceivePacket does", "< torn 02 01 01 00"}},
      {"0008 02 01 01 00 03            ........\n",
       {"in line 1: The rows before this one are missing", "? frame 02 01 01 00 03"}},
      {"nothing of\nours\n",
       {"in line 2: No hex dump is in the text, and no other form was recognized"}},
      {"ReceivePacket Dump end\n", {"in line 1: A dump ends that did not begin"}},
      {"buffer Dump start\n0000 41                        A.......\nbuffer Dump end\n",
       {"? noise 41 # buffer"}},
      // Of two threads, in turns.
      {"SendPacket(A) Dump start\n"
       "ReceivePacket Dump start\n"
       "0000 02 01 01 00 41 41 41 41   ....AAAA\n"
       "0000 02 01 04 00 42 42 42 42   ....BBBB\n"
       "0008 03                        ........\n"
       "0008 43 03                     C.......\n"
       "SendPacket(A) Dump end\n"
       "ReceivePacket Dump end\n",
       {"> frame 02 01 01 00 41 41 41 41 03", "< frame 02 01 04 00 42 42 42 42 43 03"}},
  };
  for (const Case& row : cases) EXPECT_EQ(read(row.text), row.records) << row.text;
}

}  // namespace
}  // namespace varno::test
