#include "TestSupport.h"
#include "examples/link/FrameCutter.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace varno::test {
namespace {

using example::FrameCutter;

constexpr std::size_t kMaxFrameBytes = 12;

struct CutterCase {
  const char* stream;
  std::vector<std::string> frames;
  FrameCutter::Counts skipped;  // without frames and skippedBytes, which follow from the rest
};

const CutterCase kCutterCases[] = {
    {"02 7D 7F 0F 00 03", {"02 7D 7F 0F 00 03"}, {}},
    {"02 01 01 00 03 02 7D 7E 06 00 03", {"02 01 01 00 03", "02 7D 7E 06 00 03"}, {}},
    {"FF 03 7D 02 01 01 00 03 00 03 02 01 04 00 03 FF",
     {"02 01 01 00 03", "02 01 04 00 03"},
     {.noiseBytes = 6}},
    {"02 7D 7F 0F 02 01 01 00 03", {"02 01 01 00 03"}, {.tornFrames = 1}},
    {"02 02 02 01 01 00 03", {"02 01 01 00 03"}, {.tornFrames = 2}},
    {"02 01 01 00 03 02 01 01", {"02 01 01 00 03"}, {.tornFrames = 1}},  // torn by the stream's end
    {"02 03 02 01 00 03 02 01 01 00 03", {"02 01 01 00 03"}, {.shortFrames = 2}},
    {"02 7D 03 00 00 03", {}, {.noiseBytes = 3, .shortFrames = 1}},  // an escape hides no mark
    {"02 01 01 00 05 06 07 08 09 0A 0B 03 02 01 01 00 03",           // as long as can be
     {"02 01 01 00 05 06 07 08 09 0A 0B 03", "02 01 01 00 03"},
     {}},
    {"02 01 01 00 05 06 07 08 09 0A 0B 0C 03 02 01 01 00 03",
     {"02 01 01 00 03"},
     {.longFrames = 1}},
    {"02 01 01 00 05 06 07 08 09 0A 0B 0C 0D 02 01 01 00 03",
     {"02 01 01 00 03"},
     {.longFrames = 1}},
    {"02 01 01 00 05 06 07 08 09 0A 0B 0C 0D 03 FF 02 03 02",
     {},
     {.noiseBytes = 1, .tornFrames = 1, .shortFrames = 1, .longFrames = 1}},
};

TEST(FrameCutter, FindsTheSameFramesHoweverTheStreamIsCut) {
  for (const CutterCase& row : kCutterCases) {
    const Bytes stream = bytes(row.stream);
    for (std::size_t chunkSize = 1; chunkSize <= stream.size(); ++chunkSize) {
      SCOPED_TRACE(std::string(row.stream) + " by " + std::to_string(chunkSize));
      FrameCutter cutter(kMaxFrameBytes);
      std::vector<std::string> frames;
      std::size_t frameBytes = 0;
      for (std::size_t at = 0; at < stream.size(); at += chunkSize) {
        // A copy of its own, so that a view which outlives its chunk is found out.
        const Bytes copy(
            stream.begin() + static_cast<std::ptrdiff_t>(at),
            stream.begin() + static_cast<std::ptrdiff_t>(std::min(at + chunkSize, stream.size())));
        std::span<const std::uint8_t> chunk = copy;
        while (const auto frame = cutter.next(chunk)) {
          frames.push_back(hex(*frame));
          frameBytes += frame->size();
        }
        EXPECT_TRUE(chunk.empty());
      }
      cutter.reset();
      EXPECT_EQ(frames, row.frames);
      EXPECT_EQ(cutter.counts().frames, row.frames.size());
      EXPECT_EQ(cutter.counts().noiseBytes, row.skipped.noiseBytes);
      EXPECT_EQ(cutter.counts().tornFrames, row.skipped.tornFrames);
      EXPECT_EQ(cutter.counts().shortFrames, row.skipped.shortFrames);
      EXPECT_EQ(cutter.counts().longFrames, row.skipped.longFrames);
      EXPECT_EQ(cutter.counts().skippedBytes, stream.size() - frameBytes);
    }
  }
}

}  // namespace
}  // namespace varno::test
