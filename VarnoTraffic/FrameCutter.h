#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoTraffic/TrafficRecord.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace varno {

// Cuts a stream of bytes into pieces: frames, and what lies between them. The stream may arrive in
// chunks of any size:
//
//   cutter.feed(bytes, [&](const FrameCutter::Piece& piece) {  // what was just read
//     if (piece.kind == RecordKind::kFrame) network.handleRawPacket(piece.bytes);
//   });
//
// The pieces, put together, are the stream, byte for byte and in its order. How it was cut into
// chunks changes neither the frames nor what any byte counts as; noise and frames that are too long
// come in pieces as the chunks have them. STX always begins a frame, since it never occurs inside
// one: whatever came before it, the frame is found. One thread at a time.
class VARNO_EXPORT FrameCutter {
 public:
  // Far above the longest frame that the library's own packet types need: a notification of three
  // strings of 65,535 bytes, all of them escaped, takes about 393,000 bytes.
  static constexpr std::size_t kDefaultMaxFrameBytes = std::size_t{1} << 20;

  // A piece of the stream. Its bytes lie in the chunk or in the cutter, and are valid until the
  // cutter's next operation; they are never none.
  struct Piece {
    RecordKind kind;  // kFrame, kNoise, kTorn, kShort or kLong
    std::span<const std::uint8_t> bytes;
  };

  // What has been given out. Bytes of an unfinished frame are not counted yet.
  struct Counts {
    std::uint64_t frames = 0;
    std::uint64_t noiseBytes = 0;    // outside any frame
    std::uint64_t tornFrames = 0;    // ended by the STX of another frame, or by finish()
    std::uint64_t shortFrames = 0;   // less than handleRawPacket accepts
    std::uint64_t longFrames = 0;    // more than maxFrameBytes, however many pieces that made
    std::uint64_t skippedBytes = 0;  // noise, torn, short and long frames together

    bool operator==(const Counts&) const = default;
  };

  // maxFrameBytes: the longest frame to be kept, both marks included. The cutter holds no more than
  // that in memory, and nothing before a frame first comes in two chunks.
  explicit FrameCutter(std::size_t maxFrameBytes = kDefaultMaxFrameBytes)
      : maxFrameBytes_(maxFrameBytes) {}

  // Takes a piece from the front of `bytes` and returns it; none once all were taken, the beginning
  // of a frame that is not complete into the cutter. Throws std::bad_alloc, after which the same
  // call can be repeated.
  std::optional<Piece> next(std::span<const std::uint8_t>& bytes);

  // The stream ended, or begins anew after a reconnection: returns the frame that is unfinished, as
  // torn; none where there is none. What is fed after that is another stream; the counts go on.
  std::optional<Piece> finish();

  // Calls onPiece(piece) for each piece that `bytes` complete. What onPiece throws leaves feed, and
  // the bytes behind that piece are lost.
  template <class OnPiece>
  void feed(std::span<const std::uint8_t> bytes, OnPiece&& onPiece) {
    while (const std::optional<Piece> piece = next(bytes)) onPiece(*piece);
  }

  const Counts& counts() const { return counts_; }

 private:
  enum class State : std::uint8_t { kOutside, kInFrame, kInLongFrame };

  VARNO_INTERNAL void store(std::span<const std::uint8_t> part);
  VARNO_INTERNAL Piece giveOut(RecordKind kind, std::span<const std::uint8_t> bytes);
  VARNO_INTERNAL Piece giveOutStored(RecordKind kind);

  std::size_t maxFrameBytes_;
  State state_ = State::kOutside;
  bool isGivenOut_ = false;          // what is stored is no part of the stream's rest any more
  std::vector<std::uint8_t> begun_;  // of the frame, what came in earlier chunks
  Counts counts_;
};

}  // namespace varno
