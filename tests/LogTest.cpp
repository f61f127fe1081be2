#include "TestSupport.h"

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
      {"\u00E9 \u20AC \U0001F600", "\u00E9 \u20AC \U0001F600"},
      {"\xC2\x80\xC2\x9B\xC2\x9F\xC2\xA0", "\\xC2\\x80\\xC2\\x9B\\xC2\\x9F\xC2\xA0"},
      {"\x9B[m\xBF", R"(\x9B[m\xBF)"},  // a terminal's 8-bit controls
      // NOLINTNEXTLINE(misc-misleading-bidirectional): that is what is escaped
      {"\u2027\u2028\u2029\u202A\u202E\u202F",
       "\u2027\\xE2\\x80\\xA8\\xE2\\x80\\xA9\\xE2\\x80\\xAA\\xE2\\x80\\xAE\u202F"},
      {"\u2065\u2066\u2069\u206A", "\u2065\\xE2\\x81\\xA6\\xE2\\x81\\xA9\u206A"},
      {"\xE2\x80", "\xE2\x80"},
      {"\xE2\x1B\xE2\x80\n\xC2", "\xE2\\x1B\xE2\x80\\x0A\xC2"},  // truncated, then a control
  };
  for (const auto& [line, printable] : rows) EXPECT_EQ(HudLog::printableLine(line), printable);
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

// A sink may throw, log, replace itself, and own what logs when it goes.
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
