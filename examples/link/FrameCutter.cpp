#include "FrameCutter.h"

#include <VarnoNetwork/Network/HudPacket.h>

#include <algorithm>

namespace varno::example {
namespace {

template <class Predicate>
std::size_t indexOf(std::span<const std::uint8_t> bytes, std::size_t from, Predicate predicate) {
  const auto start = bytes.begin() + static_cast<std::ptrdiff_t>(from);
  return static_cast<std::size_t>(std::find_if(start, bytes.end(), predicate) - bytes.begin());
}

bool isStart(std::uint8_t byte) { return byte == STX; }
bool isMark(std::uint8_t byte) { return byte == STX || byte == ETX; }

}  // namespace

std::optional<std::span<const std::uint8_t>> FrameCutter::next(
    std::span<const std::uint8_t>& bytes) {
  if (state_ == State::kOutside) begun_.clear();  // the frame that the last call returned
  while (!bytes.empty()) {
    if (state_ == State::kOutside) {
      const std::size_t noise = indexOf(bytes, 0, isStart);
      counts_.noiseBytes += noise;
      counts_.skippedBytes += noise;
      bytes = bytes.subspan(noise);
      if (bytes.empty()) break;
      state_ = State::kInFrame;
    }

    // Where nothing of the frame came before, the first byte is its own STX.
    const bool beginsHere = state_ == State::kInFrame && begun_.empty();
    const std::size_t length = indexOf(bytes, beginsHere ? 1 : 0, isMark);
    if (state_ == State::kInFrame && begun_.size() + length >= maxFrameBytes_) {
      giveUp(counts_.longFrames);  // no room is left for its ETX
      state_ = State::kInLongFrame;
    }

    if (length == bytes.size()) {  // the mark is yet to come
      if (state_ == State::kInFrame) {
        store(bytes);
      } else {
        counts_.skippedBytes += length;
      }
      bytes = {};
    } else if (bytes[length] == STX) {
      if (state_ == State::kInFrame) giveUp(counts_.tornFrames);
      counts_.skippedBytes += length;
      bytes = bytes.subspan(length);
      state_ = State::kInFrame;
    } else {
      const std::span<const std::uint8_t> part = bytes.first(length + 1);
      const bool wasInFrame = state_ == State::kInFrame;
      const bool isFrame = wasInFrame && begun_.size() + part.size() >= kShortestFrame;
      if (isFrame && !begun_.empty()) store(part);
      bytes = bytes.subspan(part.size());
      state_ = State::kOutside;
      if (isFrame) {
        ++counts_.frames;
        return begun_.empty() ? part : std::span<const std::uint8_t>(begun_);
      }
      if (wasInFrame) giveUp(counts_.shortFrames);
      counts_.skippedBytes += part.size();
    }
  }
  return std::nullopt;
}

void FrameCutter::reset() {
  if (state_ == State::kInFrame) giveUp(counts_.tornFrames);
  state_ = State::kOutside;
}

void FrameCutter::store(std::span<const std::uint8_t> part) {
  const std::size_t size = begun_.size() + part.size();
  if (size > begun_.capacity()) {
    begun_.reserve(std::clamp(2 * begun_.capacity(), size, maxFrameBytes_));
  }
  begun_.insert(begun_.end(), part.begin(), part.end());
}

void FrameCutter::giveUp(std::uint64_t& reason) {
  ++reason;
  counts_.skippedBytes += begun_.size();
  begun_.clear();
}

}  // namespace varno::example
