#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace varno::example {

// Cuts a stream of bytes into frames. The stream may arrive in pieces of any size, which changes
// neither the frames nor the counts:
//
//   std::span<const std::uint8_t> bytes = ...;  // what was just read
//   while (const auto frame = cutter.next(bytes)) network.handleRawPacket(*frame);
//
// STX always begins a frame, since it never occurs inside one: whatever came before it, the frame
// is found. One thread at a time.
class FrameCutter {
 public:
  // Far above the longest frame that the library's own packet types need: a notification of three
  // strings of 65,535 bytes, all of them escaped, takes about 393,000 bytes.
  static constexpr std::size_t kDefaultMaxFrameBytes = std::size_t{1} << 20;

  // What has passed through. Bytes of an unfinished frame are not counted yet.
  struct Counts {
    std::uint64_t frames = 0;        // returned by next()
    std::uint64_t noiseBytes = 0;    // outside any frame
    std::uint64_t tornFrames = 0;    // ended by the STX of another frame, or by reset()
    std::uint64_t shortFrames = 0;   // less than handleRawPacket accepts
    std::uint64_t longFrames = 0;    // more than maxFrameBytes
    std::uint64_t skippedBytes = 0;  // noise, torn, short and long frames together
  };

  // maxFrameBytes: the longest frame to be kept, both marks included. The cutter holds no more than
  // that in memory, and nothing before a frame first comes in two pieces.
  explicit FrameCutter(std::size_t maxFrameBytes = kDefaultMaxFrameBytes)
      : maxFrameBytes_(maxFrameBytes) {}

  // Takes bytes from the front of `bytes` up to the end of the next frame and returns the frame,
  // marks included; none once all were taken. The frame lies in `bytes` or in the cutter and is
  // valid until the next call. Throws std::bad_alloc, after which the same call can be repeated.
  std::optional<std::span<const std::uint8_t>> next(std::span<const std::uint8_t>& bytes);

  // The stream ended, or begins anew after a reconnection: gives up the frame that is unfinished.
  void reset();

  const Counts& counts() const { return counts_; }

 private:
  enum class State { kOutside, kInFrame, kInLongFrame };

  void store(std::span<const std::uint8_t> part);
  void giveUp(std::uint64_t& reason);

  std::size_t maxFrameBytes_;
  State state_ = State::kOutside;
  std::vector<std::uint8_t> begun_;  // of the frame, what came in earlier pieces
  Counts counts_;
};

}  // namespace varno::example
