#pragma once

#include <VarnoTraffic/FrameCutter.h>
#include <VarnoTraffic/RecordReader.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>

namespace varno {

// Reads an input that has bytes and little more: the records are the pieces that they are cut into.
class CutReader : public RecordReader {
 public:
  bool next(TrafficRecord& record) final {
    for (;;) {
      if (const auto piece = cutter_.next(rest_)) return take(record, *piece);
      if (isEnded_ || chunk_.isStreamsEnd) {
        if (const auto piece = cutter_.finish()) return take(record, *piece);
      }
      if (isEnded_) return false;
      if (Chunk chunk; nextChunk(chunk)) {
        chunk_ = std::move(chunk);
        rest_ = chunk_.bytes;
      } else {
        isEnded_ = true;
      }
    }
  }

 protected:
  struct Chunk {
    std::span<const std::uint8_t> bytes;  // valid until the next call
    std::optional<Direction> direction;
    std::string note;
    bool isStreamsEnd = false;  // the next one belongs to another stream
  };

  // False at the input's end.
  virtual bool nextChunk(Chunk& chunk) = 0;

 private:
  // A recording is not a link: the longest frame that a network sends is to be read as one.
  static constexpr std::size_t kMaxFrameBytes = std::size_t{1} << 24;

  bool take(TrafficRecord& record, const FrameCutter::Piece& piece) const {
    record.time.reset();
    record.direction = chunk_.direction;
    record.kind = piece.kind;
    record.bytes.assign(piece.bytes.begin(), piece.bytes.end());
    record.note = chunk_.note;
    return true;
  }

  FrameCutter cutter_{kMaxFrameBytes};
  Chunk chunk_;
  std::span<const std::uint8_t> rest_;
  bool isEnded_ = false;
};

}  // namespace varno
