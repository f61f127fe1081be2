#include "tests/TestSupport.h"

#include <VarnoLink/Duration.h>
#include <VarnoLink/FaultStage.h>
#include <VarnoNetwork/Network/HudException.h>

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace varno::test {
namespace {

using namespace std::chrono_literals;

TEST(Duration, IsReadAndPrintedExactly) {
  const std::pair<const char*, std::optional<std::chrono::nanoseconds>> cases[] = {
      {"250us", 250us},
      {"2ms", 2ms},
      {"1.5s", 1500ms},
      {"3m", 3min},
      {"90s", 90s},
      {"2h", 2h},
      {"1.000000001s", 1'000'000'001ns},
      {"9223372036.854775807s", std::chrono::nanoseconds::max()},
      {"0s", 0ns},
      {"0", 0ns},
      {"0.5m", 30s},
      {"1.5000000000s", 1500ms},
      {"9223372036.854775808s", {}},
      {"0.5ns", {}},
      {"5", {}},
      {"5 ms", {}},
      {"-5ms", {}},
      {".5s", {}},
      {"5.s", {}},
      {"s", {}},
      {"", {}},
  };
  for (const auto& [text, duration] : cases) {
    EXPECT_EQ(durationFromText(text), duration) << text;
    if (!duration) continue;
    EXPECT_EQ(durationFromText(durationText(*duration)), duration) << text;
  }
  EXPECT_EQ(durationText(1500us), "1.5ms");
  EXPECT_EQ(durationText(90s), "90s");
  EXPECT_EQ(durationText(120s), "2m");
}

TEST(Fault, ReadsBackWhatItPrints) {
  for (const char* text :
       {"latency delay=20ms jitter=5ms", "bandwidth rate=1000 count=3", "slicer size=1 delay=2ms",
        "stall for=1.5s chance=0.25", "drop", "duplicate chance=0", "corrupt byte=7 bit=3 count=1",
        "corrupt", "tear bytes=4", "noise bytes=16 chance=0.000000001", "limit bytes=1000",
        "reset"}) {
    for (const char* direction : {"", "> ", "< "}) {
      NotationError error;
      const std::string whole = std::string(direction) + text;
      const auto fault = directedFaultFromText(whole, error);
      ASSERT_TRUE(fault) << whole << ": " << error.text();
      EXPECT_EQ(faultText(*fault), whole);
      EXPECT_EQ(faultProblem(fault->fault), "");
    }
  }
}

TEST(Fault, TellsWhereItIsWrongAndWhatWasMeant) {
  const std::pair<const char*, const char*> cases[] = {
      {"", "column 1: the line ends, expected a fault, as latency, drop or corrupt"},
      {"> corupt",
       "column 3: found \"corupt\", expected a fault, as latency, drop or corrupt (nearest: "
       "corrupt)"},
      {"corrupt byt=7",
       "column 9: found \"byt\", expected a parameter of corrupt: [byte=N] [bit=N] [count=N] "
       "[chance=P] (nearest: byte)"},
      {"corrupt bit=8", "column 13: found \"8\", expected a number from 0 to 7"},
      {"corrupt bit", "column 12: the line ends, expected = and a value"},
      {"corrupt bit=1 bit=1", "column 15: found \"bit\", expected each parameter once"},
      {"latency", "column 8: the line ends, expected delay=T"},
      {"latency delay=5",
       "column 15: found \"5\", expected a time of 24h at most, as 250us, 2ms or 1.5s"},
      {"stall for=25h",
       "column 11: found \"25h\", expected a time of 24h at most, as 250us, 2ms or 1.5s"},
      {"slicer size=0", "column 13: found \"0\", expected a number from 1 on"},
      {"drop chance=1.1", "column 13: found \"1.1\", expected a chance from 0 to 1, as 0.25"},
      {"drop count=", "column 12: the line ends, expected a number"},
      {"drop now", "column 6: found \"now\", expected a parameter of drop: [count=N] [chance=P]"},
  };
  for (const auto& [text, message] : cases) {
    NotationError error;
    EXPECT_FALSE(directedFaultFromText(text, error)) << text;
    EXPECT_EQ(error.text(), message) << text;
  }
  EXPECT_THROW(FaultStage(Direction::kToPhone).add({.kind = FaultKind::kNoise}),
               InvalidArgumentException);
  EXPECT_THROW(FaultStage(Direction::kToPhone).add({.kind = FaultKind::kStall, .duration = -1ns}),
               InvalidArgumentException);
}

// What came and when, in milliseconds.
struct Arrival {
  int time;
  std::string bytes;
};

constexpr const char* kA = "02 01 04 41 03";
constexpr const char* kB = "02 01 04 42 03";

// A line for each piece that leaves: its time in milliseconds, and its bytes or how the link ends;
// behind that "!" where they were altered, and the note.
std::string linesOf(FaultStage& stage, const std::vector<Arrival>& arrivals) {
  std::string lines;
  LinkTime now{};
  const auto show = [&](const FaultStage::Emission& emission) {
    using Kind = FaultStage::Emission::Kind;
    lines += std::to_string(now.time_since_epoch() / 1ms) + ": ";
    lines += emission.kind == Kind::kBytes   ? hex(emission.bytes)
             : emission.kind == Kind::kClose ? "close"
                                             : "reset";
    if (emission.isAltered) lines += " !";
    if (!emission.note.empty()) lines += " # " + std::string(emission.note);
    lines += '\n';
  };
  const auto runUntil = [&](LinkTime end) {
    for (auto due = stage.nextDue(); due && *due < end; due = stage.nextDue()) {
      now = std::max(now, *due);
      stage.passDue(now, show);
    }
    now = std::max(now, end);
  };
  for (const Arrival& arrival : arrivals) {
    runUntil(LinkTime(std::chrono::milliseconds(arrival.time)));
    stage.pass(now, bytes(arrival.bytes), show);
  }
  stage.finish(now);
  runUntil(now + 1h);
  EXPECT_EQ(stage.waitingBytes(), 0U);
  return lines;
}

struct StageCase {
  std::vector<const char*> faults;
  std::vector<Arrival> arrivals;
  const char* lines;
};

std::string joined(std::initializer_list<const char*> parts) {
  std::string text;
  for (const char* const part : parts) {
    if (!text.empty()) text += ' ';
    text += part;
  }
  return text;
}

TEST(FaultStage, DoesWhatEachKindSays) {
  const std::string two = joined({kA, kB});
  const StageCase cases[] = {
      {{}, {{0, "FF 02 01"}, {3, "04 41 03"}}, "0: FF 02 01\n3: 04 41 03\n"},
      {{"drop chance=0"}, {{0, "FF 02 01"}}, "0: FF 02 01\n"},
      {{"drop count=0"}, {{0, "FF 02 01"}}, "0: FF 02 01\n"},
      // Held back until it is whole; noise passes, and nothing is lost at the end.
      {{"corrupt byte=20"},
       {{0, "FF 02 01"}, {3, "04 41 03 FF"}, {5, "02 01"}},
       "0: FF\n3: 02 01 04 41 03\n3: FF\n5: 02 01\n"},
      {{"corrupt byte=3 bit=0 count=1"},
       {{0, two}, {1, "02 01"}},
       "0: 02 01 04 40 03 ! # corrupt byte=3 bit=0\n0: 02 01 04 42 03\n1: 02 01\n"},
      {{"drop"},
       {{0, joined({"FF", kA, "FE"})}},
       "0: FF\n0:  ! # drop, a frame of 5 bytes\n0: FE\n"},
      {{"duplicate count=1"},
       {{0, two}},
       "0: 02 01 04 41 03\n0: 02 01 04 41 03 ! # duplicate\n0: 02 01 04 42 03\n"},
      {{"tear bytes=2 count=1"}, {{0, two}}, "0: 02 01 ! # tear bytes=2\n0: 02 01 04 42 03\n"},
      {{"latency delay=10ms count=1"},
       {{0, two}, {20, kA}},
       "10: 02 01 04 41 03 # latency delay=10ms\n10: 02 01 04 42 03\n20: 02 01 04 41 03\n"},
      {{"latency delay=10ms", "latency delay=5ms"},
       {{0, kA}},
       "15: 02 01 04 41 03 # latency delay=10ms, latency delay=5ms\n"},
      {{"slicer size=2 delay=2ms"},
       {{0, two}},
       "0: 02 01 # slicer size=2 delay=2ms\n2: 04 41\n4: 03\n"
       "6: 02 01 # slicer size=2 delay=2ms\n8: 04 42\n10: 03\n"},
      {{"bandwidth rate=1000"},  // a piece for every 20 ms and one byte
       {{0, joined({kA, "02 01 04 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 03"})}},
       "5: 02 01 04 41 03 # bandwidth rate=1000\n"
       "26: 02 01 04 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 # bandwidth "
       "rate=1000\n28: 00 03\n"},
      {{"stall for=50ms count=2"},
       {{0, two}, {10, kA}, {60, kB}},
       "50: 02 01 04 41 03 # stall for=50ms\n50: 02 01 04 42 03\n50: 02 01 04 41 03\n"
       "110: 02 01 04 42 03 # stall for=50ms\n"},
      {{"limit bytes=8"},
       {{0, joined({"FF", two.c_str()})}, {5, kA}},
       "0: FF\n0: 02 01 04 41 03\n0: 02 01 !\n0: close ! # limit bytes=8\n"},
      {{"reset"}, {{0, joined({"FF", two.c_str()})}}, "0: FF\n0: reset ! # reset\n"},
      // In the order in which they were added.
      {{"duplicate", "corrupt byte=3 bit=0 count=1"},
       {{0, kA}},
       "0: 02 01 04 40 03 ! # corrupt byte=3 bit=0\n0: 02 01 04 41 03 ! # duplicate\n"},
      {{"corrupt byte=3 bit=0 count=1", "duplicate"},
       {{0, kA}},
       "0: 02 01 04 40 03 ! # corrupt byte=3 bit=0\n"
       "0: 02 01 04 40 03 ! # corrupt byte=3 bit=0, duplicate\n"},
      {{"duplicate", "reset", "limit bytes=2"}, {{0, kA}}, "0: reset ! # reset\n"},
      {{"slicer size=3", "tear bytes=4"},
       {{0, kA}},
       "0: 02 01 04 ! # slicer size=3, tear bytes=4\n0: 41 !\n"},
  };
  for (const StageCase& one : cases) {
    FaultStage stage(Direction::kToPhone);
    std::string all;
    for (const char* const text : one.faults) {
      NotationError error;
      const auto fault = faultFromText(text, error);
      ASSERT_TRUE(fault) << text << ": " << error.text();
      stage.add(*fault);
      all += text + std::string("; ");
    }
    EXPECT_EQ(linesOf(stage, one.arrivals), one.lines) << all;
  }
}

TEST(FaultStage, LeavesTheRestToTheSeed) {
  const auto run = [](Direction direction, std::uint64_t seed) {
    FaultStage stage(direction, seed);
    NotationError error;
    for (const char* const text : {"corrupt chance=0.25", "tear chance=0.1", "noise bytes=3",
                                   "latency delay=5ms jitter=5ms"}) {
      stage.add(*faultFromText(text, error));
    }
    std::vector<Arrival> arrivals;
    arrivals.reserve(400);
    for (int at = 0; at < 400; ++at) arrivals.push_back({at, at % 2 == 0 ? kA : kB});
    std::string lines = linesOf(stage, arrivals);
    const std::vector<FaultStage::Entry> entries = stage.entries();
    EXPECT_GT(entries[0].acted, 60U);
    EXPECT_LT(entries[0].acted, 140U);
    EXPECT_EQ(entries[2].acted, 400U);
    EXPECT_EQ(lines.find("noise bytes=3 02"), std::string::npos);
    return lines;
  };
  const std::string lines = run(Direction::kToPhone, 7);
  EXPECT_EQ(run(Direction::kToPhone, 7), lines);
  EXPECT_NE(run(Direction::kToPhone, 8), lines);
  EXPECT_NE(run(Direction::kToDisplay, 7), lines);
}

// Faults of time alone lose, add and move no byte, however the stream came and whenever faults come
// and go.
TEST(FaultStage, KeepsTheStreamWhateverIsSwitchedOnAndOff) {
  std::mt19937 random(3);
  for (int round = 0; round < 50; ++round) {
    FaultStage stage(Direction::kToDisplay, 5);
    std::vector<std::uint8_t> sent;
    std::vector<std::uint8_t> left;
    LinkTime now{};
    NotationError error;
    const char* const texts[] = {"latency delay=3ms jitter=3ms count=4", "slicer size=2 delay=1ms",
                                 "bandwidth rate=3000", "stall for=4ms chance=0.5",
                                 "corrupt byte=900"};
    const auto keep = [&](const FaultStage::Emission& emission) {
      left.insert(left.end(), emission.bytes.begin(), emission.bytes.end());
    };
    for (int step = 0; step < 100; ++step) {
      if (random() % 4 == 0) stage.add(*faultFromText(texts[random() % std::size(texts)], error));
      if (random() % 8 == 0) stage.clear();
      std::vector<std::uint8_t> chunk(random() % 20);
      for (std::uint8_t& byte : chunk) byte = static_cast<std::uint8_t>(random() % 6);
      sent.insert(sent.end(), chunk.begin(), chunk.end());
      stage.pass(now, chunk, keep);
      EXPECT_EQ(left.size() + stage.waitingBytes(), sent.size());
      now += std::chrono::microseconds(random() % 3000);
      stage.passDue(now, keep);
    }
    stage.finish(now);
    while (stage.nextDue()) stage.passDue(*stage.nextDue(), keep);
    EXPECT_EQ(left, sent);
  }
}

TEST(FaultStage, BeginsAnewAfterTheLinkEnded) {
  FaultStage stage(Direction::kToPhone);
  NotationError error;
  stage.add(*faultFromText("limit bytes=5 count=2", error));
  stage.add(*faultFromText("latency delay=10ms", error));
  EXPECT_EQ(linesOf(stage, {{0, kA}, {0, kB}}),
            "10: 02 01 04 41 03 # latency delay=10ms\n10: close ! # limit bytes=5\n");
  EXPECT_EQ(linesOf(stage, {{0, kA}}), "") << "nothing leaves until the link is up again";
  stage.restart();
  stage.feed(LinkTime{}, bytes("02 01"));
  EXPECT_EQ(stage.waitingBytes(), 2U);
  stage.restart();
  EXPECT_EQ(stage.waitingBytes(), 0U);
  EXPECT_EQ(linesOf(stage, {{0, kA}}),
            "10: 02 01 04 41 03 # latency delay=10ms\n10: close ! # limit bytes=5\n");
  stage.restart();
  stage.clear();
  EXPECT_TRUE(stage.isTransparent());
}

}  // namespace
}  // namespace varno::test
