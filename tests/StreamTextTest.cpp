#include "StreamSupport.h"

#include <gtest/gtest.h>

namespace varno::test {
namespace {

using namespace std::string_literals;

std::string text(std::span<const std::uint8_t> bytes) { return {bytes.begin(), bytes.end()}; }

std::string written(const std::optional<std::string>& value) {
  Out out;
  out.writeUTF(value);
  return hex(out.toNSData());
}

TEST(StreamText, FailureLeavesWhatWasThere) {
  for (const char* wire : {"00", "00 05 41 42", "00 02 41 7D", "00 02 7D 7F"}) {
    HudString text = "kept";
    EXPECT_EQ(thrownBy([&] { In(bytes(wire)).readUTF(text); }), kOutOfBounds) << wire;
    EXPECT_EQ(text, "kept") << wire;
  }
}

// The count is the length modulo 65,536; from 32,768 on it reads as negative, so the text reads as
// empty.
TEST(StreamText, Lengths) {
  const struct {
    std::size_t length;
    const char* count;
    std::size_t follow;
    std::size_t read;
  } rows[] = {
      {0, "00 00", 0, 0},
      {1, "00 01", 1, 1},
      {637, "7D 7F 7D 00", 637, 637},
      {770, "7D 7E 7D 7F", 770, 770},
      {32767, "7F FF", 32767, 32767},
      {32768, "80 00", 32768, 0},
      {65535, "FF FF", 65535, 0},
      {65536, "00 00", 0, 0},
      {65537, "00 01", 1, 1},
      {66173, "7D 7F 7D 00", 637, 637},
      {131072, "00 00", 0, 0},
  };
  for (const auto& row : rows) {
    for (const char filler : {'a', '}'}) {
      SCOPED_TRACE(std::to_string(row.length) + filler);
      Out out;
      out.writeUTF(std::string(row.length, filler));
      const Bytes plain(row.follow, static_cast<std::uint8_t>(filler));
      Bytes wire = bytes(row.count);
      for (const std::uint8_t byte : stuffed(plain)) wire.push_back(byte);
      EXPECT_TRUE(out.toNSData() == wire);
      EXPECT_TRUE(In(wire).readUTF() == std::string(row.read, filler));
    }
  }
}

TEST(StreamText, IsJudgedWholeBeforeItIsCut) {
  EXPECT_EQ(written({}), "00 00");
  std::string accented;
  for (int at = 0; at < 32768; ++at) accented += "\u00E9";  // 65,536 bytes
  EXPECT_EQ(written(accented + "\u00E9"), "00 7D 7F C3 A9");
  EXPECT_EQ(written(accented + "a"), "00 01 C3");  // cut within a character
  EXPECT_EQ(written(accented + "\xC3"), "00 00");
  EXPECT_EQ(written(std::string(65540, 'a') + "\xFF"), "00 00");
  EXPECT_EQ(written("\xFF"s + std::string(65540, 'a')), "00 00");
}

TEST(StreamText, MustBeUtf8) {
  // NUL, the first and last of each length and around the surrogates, U+FEFF.
  const std::vector<const char*> valid = {"00",       "7F",          "C2 80",      "DF BF",
                                          "E0 A0 80", "ED 9F BF",    "EE 80 80",   "EF BB BF",
                                          "EF BF BF", "F0 90 80 80", "F4 8F BF BF"};
  // Stray continuations, overlong forms, surrogates, above U+10FFFF, truncated, not continued.
  const std::vector<const char*> invalid = {
      "80",          "BF",          "C3 A9 A9",    "C0 80",    "C1 BF",       "E0 80 80",
      "E0 9F BF",    "F0 80 80 80", "F0 8F BF BF", "ED A0 80", "ED BF BF",    "F4 90 80 80",
      "F5 80 80 80", "FE",          "FF",          "C3",       "E2 82",       "F0 9F 98",
      "C3 C3",       "C3 29",       "E2 C2 AC",    "E2 82 29", "F0 9F 98 29", "F0 29 98 80"};
  const auto expectText = [](const char* sample, const std::string& padding, bool isValid) {
    SCOPED_TRACE(std::string(sample) + " amid " + padding);
    const std::string sampleText = padding + text(bytes(sample)) + padding;
    Bytes plain{static_cast<std::uint8_t>(sampleText.size() >> 8),
                static_cast<std::uint8_t>(sampleText.size() & 0xFF)};
    plain.insert(plain.end(), sampleText.begin(), sampleText.end());
    const Bytes wire = stuffed(plain);
    EXPECT_EQ(written(sampleText), isValid ? hex(wire) : "00 00");
    In in(wire);
    EXPECT_EQ(in.readUTF(), isValid ? HudString(sampleText) : HudString());
    EXPECT_EQ(in.offset(), wire.size());
  };
  for (const char* filler : {"a", "}", "\u00E9"}) {
    for (const int around : {0, 1, 7, 12, 13, 14, 15, 16, 17, 63, 64, 65}) {
      std::string padding;
      for (int at = 0; at < around; ++at) padding += filler;
      for (const char* sample : valid) expectText(sample, padding, true);
      for (const char* sample : invalid) expectText(sample, padding, false);
    }
  }
}

}  // namespace
}  // namespace varno::test
