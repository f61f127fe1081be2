#include "TestSupport.h"

#include <VarnoNetwork/Network/Command/SystemTimeCommandPacket.h>
#include <VarnoNetwork/Network/TextFormat.h>

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <limits>
#include <locale>
#include <random>
#include <sstream>

namespace varno::test {
namespace {

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

TEST(TextFormat, TextsDoNotDependOnTheLocale) {
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
  LogCapture log;
  HudPacket::hexDump("Label", Bytes(1001, 0x42));
  EXPECT_EQ(log.take()[126], "03E8 42                        B.......");
}

// The platform's own %f is the reference: every binary order of magnitude with its neighbors, ties
// (a multiple of 1/128 has at most seven decimals), carries, and bit patterns of every kind.
TEST(TextFormat, RealsAreThoseOfPrintf) {
  const auto expectSame = [](double value) {
    if (std::isnan(value)) return;  // whose sign printf shows on some platforms only
    std::array<char, 320> reference;
    const int length = std::snprintf(reference.data(), reference.size(), "%f", value);
    EXPECT_EQ(formatText("%f", value),
              std::string_view(reference.data(), static_cast<std::size_t>(length)));
  };
  const double infinity = std::numeric_limits<double>::infinity();
  for (int exponent = -1074; exponent < 1024; ++exponent) {
    const double power = std::ldexp(1.0, exponent);
    for (const double value : {power, std::nextafter(power, 0), std::nextafter(power, infinity)}) {
      expectSame(value);
      expectSame(-value);
    }
  }
  for (int tie = 1; tie < 1000; ++tie) expectSame(tie / 128.0);
  for (const double power : {1e0, 1e1, 1e4, 1e9}) expectSame(power - 5e-7);
  for (const double value : {0.0, 0.0000005, 0.9999995, std::numeric_limits<double>::max()}) {
    expectSame(value);
  }
  std::mt19937_64 random(1);
  for (int round = 0; round < 5000; ++round) {
    expectSame(std::bit_cast<double>(random()));
    expectSame(std::ldexp(static_cast<double>(random()), -static_cast<int>(random() % 90)));
  }
  EXPECT_EQ(formatText("%f", std::numeric_limits<double>::quiet_NaN()), "nan");
}

}  // namespace
}  // namespace varno::test
