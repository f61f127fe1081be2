#include "TestSupport.h"

#include <VarnoNetwork/Network/Command/SystemTimeCommandPacket.h>
#include <VarnoNetwork/Network/EventPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

#include <gmock/gmock.h>

#include <clocale>
#include <limits>
#include <locale>
#include <sstream>

namespace varno::test {
namespace {

using testing::ElementsAre;
using Lines = std::vector<std::string>;

struct RenumberedPacket : SystemTimeCommandPacket {
  std::uint8_t getParam2() const override { return 0x41; }
  void appendPayload(HudOutputStream& stream) const override { stream.writeByte(0x05); }
};

TEST(Packet, ClassDerivedFromAPacketTypeIsSentAsItself) {
  EXPECT_EQ(hex(frameOf(RenumberedPacket())), "02 7D 7F 01 41 05 03");
}

struct NamelessEventPacket : IdentifiedPacket<NamelessEventPacket, EventPacket, 1, 0> {
  static constexpr std::string_view kTypeName = "NamelessEventPacket";
};

// What a type leaves open fails, behind what was written by then.
TEST(Packet, AbstractBasesFail) {
  const std::pair<std::unique_ptr<HudPacket>, const char*> rows[] = {
      {std::make_unique<HudPacket>(), "41 02"},
      {std::make_unique<CommandPacket>(), "41 02 7D 7F"},
      {std::make_unique<EventPacket>(), "41 02 7D 7E"},
      {std::make_unique<NamelessEventPacket>(), "41 02 7D 7E 01 00"}};
  for (const auto& row : rows) {  // clang 14 lets no lambda capture a structured binding
    HudPacket& packet = *row.first;
    SCOPED_TRACE(packet.description());
    HudOutputStream stream;
    stream.writeByte(0x41);  // a frame is appended to what is there
    EXPECT_EQ(thrownBy([&] { packet.serialize(stream); }), kNotYetImplemented);
    EXPECT_EQ(hex(stream.toNSData()), row.second);
    EXPECT_EQ(thrownBy([&] { packet.appendPayload(stream); }), kNotYetImplemented);
    EXPECT_EQ(thrownBy([&] { parse(packet, {}); }), kNotYetImplemented);
  }
  const HudPacket& packet = *rows[0].first;
  EXPECT_EQ(thrownBy([&] { packet.getCommand(); }), kNotYetImplemented);
  EXPECT_EQ(thrownBy([&] { packet.getParam1(); }), kNotYetImplemented);
  EXPECT_EQ(thrownBy([&] { packet.getParam2(); }), kNotYetImplemented);
  EXPECT_EQ(packet.description(), "HudPacket[]");
}

Lines dump(const Bytes& content) {
  LogCapture log;
  HudPacket::hexDump("Label", content);
  return log.take();
}

TEST(Packet, HexDump) {
  EXPECT_THAT(dump({}), ElementsAre("Label Dump start", "Label Dump end"));
  EXPECT_THAT(
      dump(bytes("20 7E 1F 7F 80 FF 30 41")),
      ElementsAre("Label Dump start", "0000 20 7E 1F 7F 80 FF 30 41    ~....0A", "Label Dump end"));
  EXPECT_THAT(dump(bytes("61 62 63 64 65 66 67 68 69")),
              ElementsAre("Label Dump start", "0000 61 62 63 64 65 66 67 68   abcdefgh",
                          "0008 69                        i.......", "Label Dump end"));

  const Lines rows = dump(Bytes(65537, 0x41));
  ASSERT_EQ(rows.size(), 8195U);
  EXPECT_EQ(rows[8192], "FFF8 41 41 41 41 41 41 41 41   AAAAAAAA");
  EXPECT_EQ(rows[8193], "10000 41                        A.......");
}

// Every placeholder, with a result that is the same under every locale.
void expectTexts() {
  constexpr auto kInfinity = std::numeric_limits<double>::infinity();
  const std::pair<std::string, std::string> rows[] = {
      {formatText("%@|%@|%@", "a", std::string("%d"), std::string_view("c", 1)), "a|%d|c"},
      {formatText("[%@][%@]", HudString(), HudString("")), "[(null)][]"},
      {formatText("%d %d", true, false), "1 0"},
      {formatText("%d %d", std::int8_t{-128}, std::uint8_t{255}), "-128 255"},
      {formatText("%d %d", std::int16_t{-32768}, std::uint16_t{65535}), "-32768 65535"},
      {formatText("%d %d", std::numeric_limits<std::int32_t>::min(), 1234567),
       "-2147483648 1234567"},
      {formatText("%lld", std::numeric_limits<std::int64_t>::min()), "-9223372036854775808"},
      {formatText("%lu", std::numeric_limits<std::uint64_t>::max()), "18446744073709551615"},
      {formatText("%X %X %X", 0, 0xBEEF, -1), "0 BEEF FFFFFFFF"},
      {formatText("%02X %04X %08X %04X", std::uint8_t{0x0A}, 0xAB, 0x1234, 0x10000),
       "0A 00AB 00001234 10000"},
      {formatText("%f %f %f", 2.5F, -0.0, 0.1F), "2.500000 -0.000000 0.100000"},
      {formatText("%f", 1234567.891), "1234567.891000"},
      {formatText("%f", 1e30F), "1000000015047466219876688855040.000000"},
      {formatText("%f %f", kInfinity, -kInfinity), "inf -inf"},
      {formatText("<%c%c>", 'A', '\x7F'), "<A\x7F>"},
  };
  for (const auto& [text, expected] : rows) EXPECT_EQ(text, expected);
}

struct CommaPunctuation : std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

// Makes numbers look German in every way that the machine offers, while it lives.
struct CommaLocale {
  const std::locale before =
      std::locale::global(std::locale(std::locale::classic(), new CommaPunctuation));
  // NOLINTBEGIN(concurrency-mt-unsafe): no other thread runs here
  const std::string cBefore = std::setlocale(LC_ALL, nullptr);

  CommaLocale() {
    for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8"}) {
      if (std::setlocale(LC_ALL, name) != nullptr) break;
    }
  }
  ~CommaLocale() {
    static_cast<void>(std::setlocale(LC_ALL, cBefore.c_str()));
    std::locale::global(before);
  }
  // NOLINTEND(concurrency-mt-unsafe)
};

TEST(Packet, TextsDoNotDependOnTheLocale) {
  expectTexts();
  const CommaLocale locale;
  std::ostringstream stream;
  stream << 1234 << ' ' << 1.5;
  ASSERT_EQ(stream.str(), "1.234 1,5");
  expectTexts();

  SystemTimeCommandPacket packet;
  packet.setTimeInMillis(1234567);
  stream.str({});
  stream << packet;
  EXPECT_EQ(stream.str(), "SystemTimeCommandPacket[timeInMillis : 1234567 timeZoneId : GMT]");
  EXPECT_EQ(dump(Bytes(1001, 0x42))[126], "03E8 42                        B.......");
}

}  // namespace
}  // namespace varno::test
