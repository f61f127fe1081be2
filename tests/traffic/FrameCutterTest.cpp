#include "tests/TestSupport.h"

#include <VarnoTraffic/FrameCutter.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace varno::test {
namespace {

constexpr std::size_t kMaxFrameBytes = 12;

struct CutterCase {
  // The stream, piece by piece.
  std::vector<std::pair<RecordKind, const char*>> pieces;
  FrameCutter::Counts counts;  // without skippedBytes, which follows from the rest
};

constexpr auto kFrame = RecordKind::kFrame;
constexpr auto kNoise = RecordKind::kNoise;
constexpr auto kTorn = RecordKind::kTorn;
constexpr auto kShort = RecordKind::kShort;
constexpr auto kLong = RecordKind::kLong;

const CutterCase kCutterCases[] = {
    {{{kFrame, "02 7D 7F 0F 00 03"}}, {.frames = 1}},
    {{{kFrame, "02 01 01 00 03"}, {kFrame, "02 7D 7E 06 00 03"}}, {.frames = 2}},
    {{{kNoise, "FF 03 7D"},
      {kFrame, "02 01 01 00 03"},
      {kNoise, "00 03"},
      {kFrame, "02 01 04 00 03"},
      {kNoise, "FF"}},
     {.frames = 2, .noiseBytes = 6}},
    {{{kTorn, "02 7D 7F 0F"}, {kFrame, "02 01 01 00 03"}}, {.frames = 1, .tornFrames = 1}},
    {{{kTorn, "02"}, {kTorn, "02"}, {kFrame, "02 01 01 00 03"}}, {.frames = 1, .tornFrames = 2}},
    {{{kFrame, "02 01 01 00 03"}, {kTorn, "02 01 01"}},  // torn by the stream's end
     {.frames = 1, .tornFrames = 1}},
    {{{kShort, "02 03"}, {kShort, "02 01 00 03"}, {kFrame, "02 01 01 00 03"}},
     {.frames = 1, .shortFrames = 2}},
    {{{kShort, "02 7D 03"}, {kNoise, "00 00 03"}},  // an escape hides no mark
     {.noiseBytes = 3, .shortFrames = 1}},
    {{{kFrame, "02 01 01 00 05 06 07 08 09 0A 0B 03"}, {kFrame, "02 01 01 00 03"}},  // just fits
     {.frames = 2}},
    {{{kLong, "02 01 01 00 05 06 07 08 09 0A 0B 0C 03"}, {kFrame, "02 01 01 00 03"}},
     {.frames = 1, .longFrames = 1}},
    {{{kTorn, "02 01 01 00 05 06 07 08 09 0A 0B"}, {kFrame, "02 01 01 00 03"}},
     {.frames = 1, .tornFrames = 1}},
    {{{kLong, "02 01 01 00 05 06 07 08 09 0A 0B 0C"}, {kFrame, "02 01 01 00 03"}},
     {.frames = 1, .longFrames = 1}},
    {{{kLong, "02 01 01 00 05 06 07 08 09 0A 0B 0C 0D 03"},
      {kNoise, "FF"},
      {kShort, "02 03"},
      {kTorn, "02"}},
     {.noiseBytes = 1, .tornFrames = 1, .shortFrames = 1, .longFrames = 1}},
};

TEST(FrameCutter, FindsTheSamePiecesHoweverTheStreamIsCut) {
  for (const CutterCase& row : kCutterCases) {
    Bytes stream;
    std::vector<std::string> expected;
    FrameCutter::Counts counts = row.counts;
    for (const auto& [kind, text] : row.pieces) {
      const Bytes piece = bytes(text);
      stream.insert(stream.end(), piece.begin(), piece.end());
      expected.push_back(std::string(recordKindText(kind)) + " " + text);
      if (kind != kFrame) counts.skippedBytes += piece.size();
    }
    for (std::size_t chunkSize = 1; chunkSize <= stream.size(); ++chunkSize) {
      SCOPED_TRACE(hex(stream) + " by " + std::to_string(chunkSize));
      FrameCutter cutter(kMaxFrameBytes);
      std::vector<std::string> found;
      RecordKind last = kFrame;
      const auto take = [&](const FrameCutter::Piece& piece) {
        // Noise and long frames come as the chunks have them.
        const bool goesOn = piece.kind == last && (last == kNoise || last == kLong);
        last = piece.kind;
        if (goesOn) {
          found.back().append(" ").append(hex(piece.bytes));
        } else {
          found.push_back(std::string(recordKindText(piece.kind)) + " " + hex(piece.bytes));
        }
      };
      for (std::size_t at = 0; at < stream.size(); at += chunkSize) {
        // A copy of its own, so that a view which outlives its chunk is found out.
        const Bytes chunk(
            stream.begin() + static_cast<std::ptrdiff_t>(at),
            stream.begin() + static_cast<std::ptrdiff_t>(std::min(at + chunkSize, stream.size())));
        cutter.feed(chunk, take);
      }
      if (const auto rest = cutter.finish()) take(*rest);
      EXPECT_EQ(found, expected);
      EXPECT_TRUE(cutter.counts() == counts);
    }
  }
}

}  // namespace
}  // namespace varno::test
