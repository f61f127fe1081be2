#include "FuzzSupport.h"

#include <VarnoNetwork/Network/HudPacket.h>
#include <examples/link/FrameCutter.h>

#include <sanitizer/allocator_interface.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

// Takes an input for the longest frame, the sizes of pieces, and a stream of bytes. The stream is
// cut in one piece, in those pieces and byte by byte: each has to give the same frames and counts,
// and to hold no more memory than the longest frame takes.

namespace varno::fuzz {
namespace {

using example::FrameCutter;
using Bytes = std::vector<std::uint8_t>;

// What passed through a cutter, up to and with the end of the stream.
struct Cut {
  std::vector<Bytes> frames;
  FrameCutter::Counts counts;
};

// The pieces have these sizes in turns; one of them at least is not 0.
Cut cut(ByteSpan stream, const std::vector<std::size_t>& sizes, std::size_t maxFrameBytes) {
  Cut result;
  FrameCutter cutter(maxFrameBytes);
  std::size_t held = 0;
  for (std::size_t turn = 0; !stream.empty(); ++turn) {
    ByteSpan piece = stream.first(std::min(sizes[turn % sizes.size()], stream.size()));
    stream = stream.subspan(piece.size());
    for (;;) {
      held -= __sanitizer_get_current_allocated_bytes();
      const auto frame = cutter.next(piece);
      held += __sanitizer_get_current_allocated_bytes();
      require(held <= maxFrameBytes, "memory of a cutter");
      if (!frame) break;
      result.frames.emplace_back(frame->begin(), frame->end());
    }
    require(piece.empty(), "all bytes are taken");
  }
  cutter.reset();
  result.counts = cutter.counts();
  return result;
}

// Every ETX ends a frame if the mark before it is an STX and the length fits.
std::vector<Bytes> framesOf(ByteSpan stream, std::size_t maxFrameBytes) {
  std::vector<Bytes> frames;
  std::size_t lastMark = stream.size();
  for (std::size_t at = 0; at < stream.size(); ++at) {
    if (stream[at] != STX && stream[at] != ETX) continue;
    if (stream[at] == ETX && lastMark < at && stream[lastMark] == STX) {
      const ByteSpan frame = stream.subspan(lastMark, at + 1 - lastMark);
      if (frame.size() >= 5 && frame.size() <= maxFrameBytes) {
        frames.emplace_back(frame.begin(), frame.end());
      }
    }
    lastMark = at;
  }
  return frames;
}

bool areSame(const FrameCutter::Counts& left, const FrameCutter::Counts& right) {
  return left.frames == right.frames && left.noiseBytes == right.noiseBytes &&
         left.tornFrames == right.tornFrames && left.shortFrames == right.shortFrames &&
         left.longFrames == right.longFrames && left.skippedBytes == right.skippedBytes;
}

}  // namespace
}  // namespace varno::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace varno::fuzz;
  Script script({data, size});
  const std::size_t maxFrameBytes = script.byte();
  std::vector<std::size_t> sizes{1};
  for (const std::uint8_t pieceSize : script.bytes(script.choice(16))) sizes.push_back(pieceSize);
  const ByteSpan stream = script.bytes(size);

  const Cut whole = cut(stream, {stream.size()}, maxFrameBytes);
  require(whole.frames == framesOf(stream, maxFrameBytes), "frames of a stream");
  std::size_t passed = whole.counts.skippedBytes;
  for (const Bytes& frame : whole.frames) passed += frame.size();
  require(passed == stream.size(), "every byte is in a frame or skipped");
  require(whole.counts.frames == whole.frames.size(), "count of the frames");

  for (const auto& pieceSizes : {sizes, {1}}) {
    const Cut inPieces = cut(stream, pieceSizes, maxFrameBytes);
    require(inPieces.frames == whole.frames, "frames of a stream in pieces");
    require(areSame(inPieces.counts, whole.counts), "counts of a stream in pieces");
  }
  return 0;
}
