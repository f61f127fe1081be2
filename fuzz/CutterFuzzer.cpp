#include "FuzzSupport.h"

#include <VarnoNetwork/Network/Wire.h>
#include <VarnoTraffic/FrameCutter.h>

#include <sanitizer/allocator_interface.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

// Takes an input for the longest frame, the sizes of chunks, and a stream of bytes. The stream is
// cut in one chunk, in those chunks and byte by byte: each has to give the stream back, with the
// same kind for each byte and the same counts, and to hold no more memory than the longest frame
// takes.

namespace varno::fuzz {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Counts = FrameCutter::Counts;

// What became of a stream: the kind of each byte, and where the pieces begin that are whole.
struct Cut {
  std::vector<RecordKind> kinds;
  std::vector<std::size_t> starts;
  Counts counts;

  bool operator==(const Cut&) const = default;
};

bool isWhole(RecordKind kind) { return kind != RecordKind::kNoise && kind != RecordKind::kLong; }

// The chunks have these sizes in turns; one of them at least is not 0.
Cut cut(ByteSpan stream, const std::vector<std::size_t>& sizes, std::size_t maxFrameBytes) {
  Cut result;
  FrameCutter cutter(maxFrameBytes);
  std::size_t at = 0;
  const auto take = [&](const FrameCutter::Piece& piece) {
    require(!piece.bytes.empty() && piece.bytes.size() <= stream.size() - at, "size of a piece");
    require(std::equal(piece.bytes.begin(), piece.bytes.end(),
                       stream.begin() + static_cast<std::ptrdiff_t>(at)),
            "the pieces are the stream");
    if (isWhole(piece.kind)) result.starts.push_back(at);
    at += piece.bytes.size();
    result.kinds.insert(result.kinds.end(), piece.bytes.size(), piece.kind);
  };
  ByteSpan rest = stream;
  std::size_t held = 0;
  for (std::size_t turn = 0; !rest.empty(); ++turn) {
    ByteSpan chunk = rest.first(std::min(sizes[turn % sizes.size()], rest.size()));
    rest = rest.subspan(chunk.size());
    for (;;) {
      held -= __sanitizer_get_current_allocated_bytes();
      const auto piece = cutter.next(chunk);
      held += __sanitizer_get_current_allocated_bytes();
      require(held <= maxFrameBytes, "memory of a cutter");
      if (!piece) break;
      take(*piece);
    }
    require(chunk.empty(), "all bytes are taken");
  }
  if (const auto last = cutter.finish()) take(*last);
  require(at == stream.size(), "no byte is lost");
  result.counts = cutter.counts();
  return result;
}

// The same by the rules alone: STX begins a frame, which goes up to its ETX or before the next STX.
Cut reference(ByteSpan stream, std::size_t maxFrameBytes) {
  Cut result;
  std::size_t at = 0;
  while (at < stream.size()) {
    std::size_t end = at + 1;
    RecordKind kind = RecordKind::kNoise;
    if (stream[at] == STX) {
      while (end < stream.size() && stream[end] != STX && stream[end] != ETX) ++end;
      const bool isEnded = end < stream.size() && stream[end] == ETX;
      if (end - at >= maxFrameBytes) {
        kind = RecordKind::kLong;
        ++result.counts.longFrames;
      } else if (!isEnded) {
        kind = RecordKind::kTorn;
        ++result.counts.tornFrames;
      } else if (end + 1 - at < 5) {
        kind = RecordKind::kShort;
        ++result.counts.shortFrames;
      } else {
        kind = RecordKind::kFrame;
        ++result.counts.frames;
      }
      if (isEnded) ++end;
    } else {
      ++result.counts.noiseBytes;
    }
    if (kind != RecordKind::kFrame) result.counts.skippedBytes += end - at;
    if (isWhole(kind)) result.starts.push_back(at);
    result.kinds.insert(result.kinds.end(), end - at, kind);
    at = end;
  }
  return result;
}

}  // namespace
}  // namespace varno::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace varno::fuzz;
  Script script({data, size});
  const std::size_t maxFrameBytes = script.byte();
  std::vector<std::size_t> sizes{1};
  for (const std::uint8_t chunkSize : script.bytes(script.choice(16))) sizes.push_back(chunkSize);
  const ByteSpan stream = script.bytes(size);

  const Cut expected = reference(stream, maxFrameBytes);
  const std::vector<std::vector<std::size_t>> chunkings = {{stream.size()}, sizes, {1}};
  for (const auto& chunkSizes : chunkings) {
    require(cut(stream, chunkSizes, maxFrameBytes) == expected, "pieces of a stream");
  }
  return 0;
}
