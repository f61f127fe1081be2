#include "TestSupport.h"

#include <VarnoNetwork/Network/TextFormat.h>

#include <gmock/gmock.h>

#include <atomic>

namespace varno::test {
namespace {

using testing::ElementsAre;

TEST(Log, PrintableLine) {
  const std::pair<std::string_view, const char*> rows[] = {
      {"", ""},
      {"Plain ~ text", "Plain ~ text"},
      {std::string_view("a\0b", 3), R"(a\x00b)"},
      {"a\nb\r\tc", R"(a\x0Ab\x0D\x09c)"},
      {"\x1B[31mred\x7F", R"(\x1B[31mred\x7F)"},
      {R"(a\x0Ab)", R"(a\\x0Ab)"},
      {"\u00E9 \u20AC \U0001F600", "\u00E9 \u20AC \U0001F600"},
      {"\xC2\x80\xC2\x9B\xC2\x9F\xC2\xA0", "\\xC2\\x80\\xC2\\x9B\\xC2\\x9F\xC2\xA0"},
      {"\x9B[m\xBF", R"(\x9B[m\xBF)"},  // a terminal's 8-bit controls
      {"\xFF\x9B[m\xC0\x9B[m\xF8\x80\x80\x80", R"(\xFF\x9B[m\xC0\x9B[m\xF8\x80\x80\x80)"},
      // NOLINTNEXTLINE(misc-misleading-bidirectional): that is what is escaped
      {"\u202E\u200D\uFFFF\U000E0041", R"(\xE2\x80\xAE\xE2\x80\x8D\xEF\xBF\xBF\xF3\xA0\x81\x81)"},
      {"\xE2\x80", R"(\xE2\x80)"},
      {"\xE2\x1B\xE2\x80\n\xF0\x9F\x98", R"(\xE2\x1B\xE2\x80\x0A\xF0\x9F\x98)"},
      {"\xE2\xE2\x82\xAC", "\\xE2\u20AC"},  // the character behind a damaged one stays
  };
  for (const auto& [line, printable] : rows) EXPECT_EQ(HudLog::printableLine(line), printable);
}

// UTF-8 for every value, surrogates included.
std::string utf8Of(unsigned point) {
  const auto tail = [point](unsigned shift) {
    return static_cast<char>(0x80 | (point >> shift & 0x3F));
  };
  if (point < 0x80) return {static_cast<char>(point)};
  if (point < 0x800) return {static_cast<char>(0xC0 | point >> 6), tail(0)};
  if (point < 0x10000) return {static_cast<char>(0xE0 | point >> 12), tail(6), tail(0)};
  return {static_cast<char>(0xF0 | point >> 18), tail(12), tail(6), tail(0)};
}

// The ranges of code points that the log does not show as they are, " FIRST-LAST" in hexadecimal.
std::string escapedRanges() {
  constexpr unsigned kEnd = 0x110000;
  std::string ranges;
  bool wasEscaped = false;
  for (unsigned point = 0; point <= kEnd; ++point) {
    const std::string character = utf8Of(point);
    const bool isEscaped = point < kEnd && HudLog::printableLine(character) != character;
    if (isEscaped && !wasEscaped) ranges += formatText(" %X", point);
    if (!isEscaped && wasEscaped) ranges += formatText("-%X", point - 1);
    wasEscaped = isEscaped;
  }
  return ranges;
}

// Listed from the Unicode character database: categories Cc, Cf, Zl, Zp, Cs and Co, noncharacters,
// unassigned default-ignorable code points; and the backslash.
TEST(Log, EveryCodePointIsShownOrEscaped) {
  EXPECT_EQ(escapedRanges(),
            " 0-1F 5C-5C 7F-9F AD-AD 600-605 61C-61C 6DD-6DD 70F-70F 890-891 8E2-8E2 180E-180E"
            " 200B-200F 2028-202E 2060-206F D800-F8FF FDD0-FDEF FEFF-FEFF FFF0-FFFB FFFE-FFFF"
            " 110BD-110BD 110CD-110CD 13430-1343F 1BCA0-1BCA3 1D173-1D17A 1FFFE-1FFFF"
            " 2FFFE-2FFFF 3FFFE-3FFFF 4FFFE-4FFFF 5FFFE-5FFFF 6FFFE-6FFFF 7FFFE-7FFFF"
            " 8FFFE-8FFFF 9FFFE-9FFFF AFFFE-AFFFF BFFFE-BFFFF CFFFE-CFFFF DFFFE-E00FF"
            " E01F0-E0FFF EFFFE-10FFFF");
}

TEST(Log, DefaultSinkWritesOneEscapedLine) {
  testing::internal::CaptureStderr();
  HudLog::write("one\ntwo");
  HudLog::setSink([](std::string_view) {});
  HudLog::write("to another sink");
  HudLog::setSink({});
  HudLog::write("three");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "one\\x0Atwo\nthree\n");
}

TEST(Log, SinkReceivesTheExactText) {
  LogCapture log;
  const std::string_view line("a\nb\0\xFF", 5);
  HudLog::write(line);
  EXPECT_THAT(log.take(), ElementsAre(line));
}

// A sink may throw, log, replace itself, and own an object that logs in its destructor.
TEST(Log, SinksMayDoAsTheyLike) {
  struct LastWords {
    ~LastWords() { HudLog::write("gone"); }
  };
  const LogCapture restored;
  std::vector<std::string> lines;
  const auto plainSink = [&lines](std::string_view line) { lines.emplace_back(line); };
  HudLog::setSink([&, words = std::make_shared<LastWords>(),
                   name = std::string(100, 'x')](std::string_view line) {
    lines.emplace_back(line);
    if (line == "throw") throw 7;
    if (line == "log") HudLog::write("inner");
    if (line == "replace") {
      HudLog::setSink(plainSink);
      HudLog::write("after");
      lines.push_back(name);  // still whole
    }
  });
  for (const char* line : {"throw", "log", "replace", "end"}) HudLog::write(line);
  HudLog::setSink([words = std::make_shared<LastWords>()](std::string_view) {});
  HudLog::setSink(plainSink);
  EXPECT_THAT(lines, ElementsAre("throw", "log", "inner", "replace", "after", std::string(100, 'x'),
                                 "gone", "end", "gone"));
}

TEST(Log, EachLineReachesOneSinkWhileSinksAreReplaced) {
  constexpr int kLines = 2000;
  const LogCapture restored;
  std::atomic<int> lines = 0;
  const auto countingSink = [&lines](std::string_view) { ++lines; };
  HudLog::setSink(countingSink);
  std::vector<std::future<void>> threads;
  for (int thread = 0; thread < 2; ++thread) {
    threads.push_back(std::async(std::launch::async, [] {
      for (int at = 0; at < kLines; ++at) HudLog::write("line");
    }));
    threads.push_back(std::async(std::launch::async, [&] {
      for (int at = 0; at < kLines; ++at) HudLog::setSink(countingSink);
    }));
  }
  for (auto& thread : threads) thread.get();
  EXPECT_EQ(lines, 2 * kLines);
}

}  // namespace
}  // namespace varno::test
