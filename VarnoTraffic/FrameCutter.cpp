#include <VarnoTraffic/FrameCutter.h>

#include <VarnoNetwork/Network/Private/Bytes16.h>
#include <VarnoNetwork/Network/Wire.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace varno {
namespace {

using ByteSpan = std::span<const std::uint8_t>;

// Where the first mark from `from` on lies; the size where there is none.
std::size_t markIn(ByteSpan bytes, std::size_t from) {
  static_assert((STX | 1) == ETX);
  for (; bytes.size() - from >= bytes16::kBytes; from += bytes16::kBytes) {
    const auto marks = bytes16::flags((bytes16::load(bytes.data() + from) | 1) == ETX);
    if (bytes16::any(marks)) return from + bytes16::Places(marks).first();
  }
  while (from < bytes.size() && (bytes[from] | 1) != ETX) ++from;
  return from;
}

std::size_t startIn(ByteSpan bytes) {
  const void* const found = std::memchr(bytes.data(), STX, bytes.size());
  if (found == nullptr) return bytes.size();
  return static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - bytes.data());
}

ByteSpan take(ByteSpan& bytes, std::size_t count) {
  const ByteSpan taken = bytes.first(count);
  bytes = bytes.subspan(count);
  return taken;
}

}  // namespace

std::optional<FrameCutter::Piece> FrameCutter::next(ByteSpan& bytes) {
  if (std::exchange(isGivenOut_, false)) begun_.clear();
  while (!bytes.empty()) {
    if (state_ == State::kOutside) {
      const std::size_t noise = startIn(bytes);
      if (noise > 0) return giveOut(RecordKind::kNoise, take(bytes, noise));
      state_ = State::kInFrame;
    }

    // Where nothing of the frame came before, the first byte is its own STX.
    const bool beginsHere = state_ == State::kInFrame && begun_.empty();
    const std::size_t length = markIn(bytes, beginsHere ? 1 : 0);
    if (state_ == State::kInFrame && begun_.size() + length >= maxFrameBytes_) {
      state_ = State::kInLongFrame;  // no room is left for its ETX
      ++counts_.longFrames;
      if (!begun_.empty()) return giveOutStored(RecordKind::kLong);
    }

    const bool isMarked = length < bytes.size();
    const bool isEnded = isMarked && bytes[length] == ETX;
    const std::size_t count = isEnded ? length + 1 : length;
    if (state_ == State::kInLongFrame) {
      if (isMarked) state_ = State::kOutside;
      if (count > 0) return giveOut(RecordKind::kLong, take(bytes, count));
      continue;
    }

    const std::size_t frameBytes = begun_.size() + count;
    const bool isStored = !isMarked || !begun_.empty();
    if (isStored) store(bytes.first(count));
    const ByteSpan part = take(bytes, count);
    if (!isMarked) break;
    state_ = State::kOutside;
    const RecordKind kind = !isEnded                       ? RecordKind::kTorn
                            : frameBytes >= kShortestFrame ? RecordKind::kFrame
                                                           : RecordKind::kShort;
    return isStored ? giveOutStored(kind) : giveOut(kind, part);
  }
  return std::nullopt;
}

std::optional<FrameCutter::Piece> FrameCutter::finish() {
  if (std::exchange(isGivenOut_, false)) begun_.clear();
  state_ = State::kOutside;
  if (begun_.empty()) return std::nullopt;
  return giveOutStored(RecordKind::kTorn);
}

void FrameCutter::store(ByteSpan part) {
  const std::size_t size = begun_.size() + part.size();
  if (size > begun_.capacity()) {
    begun_.reserve(std::clamp(2 * begun_.capacity(), size, maxFrameBytes_));
  }
  begun_.insert(begun_.end(), part.begin(), part.end());
}

FrameCutter::Piece FrameCutter::giveOut(RecordKind kind, ByteSpan bytes) {
  switch (kind) {
    case RecordKind::kFrame: ++counts_.frames; return {kind, bytes};
    case RecordKind::kNoise: counts_.noiseBytes += bytes.size(); break;
    case RecordKind::kTorn: ++counts_.tornFrames; break;
    case RecordKind::kShort: ++counts_.shortFrames; break;
    default: break;  // long frames are counted where they are found: they have several pieces
  }
  counts_.skippedBytes += bytes.size();
  return {kind, bytes};
}

FrameCutter::Piece FrameCutter::giveOutStored(RecordKind kind) {
  isGivenOut_ = true;
  return giveOut(kind, begun_);
}

}  // namespace varno
