#pragma once

#include <VarnoNetwork/Network/Wire.h>
#include <VarnoTraffic/FrameCutter.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace varno {

// Where a stream of bytes stands: inside a frame or between two. It is told the bytes as they pass,
// and keeps none of them.
class FramePlace {
 public:
  bool isInFrame() const { return frameBytes_ > 0; }

  // How many of the bytes that come next belong to the frame that is passing.
  static std::size_t restIn(std::span<const std::uint8_t> bytes) {
    const auto mark = std::find_if(bytes.begin(), bytes.end(), isMark);
    const auto rest = static_cast<std::size_t>(mark - bytes.begin());
    return mark != bytes.end() && *mark == ETX ? rest + 1 : rest;
  }

  void pass(std::span<const std::uint8_t> bytes) {
    const auto last = std::find_if(bytes.rbegin(), bytes.rend(), isMark);
    if (last != bytes.rend()) {
      const auto behind = static_cast<std::size_t>(last - bytes.rbegin());
      frameBytes_ = *last == STX ? behind + 1 : 0;
    } else if (isInFrame()) {
      frameBytes_ += bytes.size();
    }
    // As for all who cut the stream, it is no frame then.
    if (frameBytes_ >= FrameCutter::kDefaultMaxFrameBytes) frameBytes_ = 0;
  }

 private:
  static bool isMark(std::uint8_t byte) { return byte == STX || byte == ETX; }

  std::size_t frameBytes_ = 0;  // of the frame that is passing, so far
};

}  // namespace varno
