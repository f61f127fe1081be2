#pragma once

#include <VarnoLink/Private/FlatQueue.h>

#include <cstddef>
#include <cstdint>
#include <span>

namespace varno {

// What waits to be written: bytes in one piece, and where each send ends in them.
class SendQueue {
 public:
  SendQueue(std::size_t maxBytes, std::size_t maxSends)
      : maxBytes_(maxBytes), maxSends_(maxSends) {}

  // Whether a send of so many bytes may still be appended.
  bool hasRoom(std::size_t bytes) const {
    return bytes <= maxBytes_ - bytes_.size() && ends_.size() < maxSends_;
  }

  // Throws std::bad_alloc, and then nothing is queued.
  void append(std::span<const std::uint8_t> bytes) {
    const std::uint64_t end = appended_ + bytes.size();
    bytes_.reserve(bytes.size());
    ends_.append(std::span(&end, 1));
    bytes_.append(bytes);
    appended_ = end;
  }

  // The first bytes were taken. Returns how many sends are through by that.
  std::size_t drop(std::size_t count) {
    bytes_.drop(count);
    dropped_ += count;
    std::size_t sends = 0;
    for (const std::uint64_t end : ends_.content()) {
      if (end > dropped_) break;
      ++sends;
    }
    ends_.drop(sends);
    return sends;
  }

  std::span<const std::uint8_t> bytes() const { return bytes_.content(); }
  std::size_t sends() const { return ends_.size(); }

 private:
  std::size_t maxBytes_;
  std::size_t maxSends_;
  FlatQueue<std::uint8_t> bytes_;
  FlatQueue<std::uint64_t> ends_;  // counted from the connection's first byte
  std::uint64_t appended_ = 0;
  std::uint64_t dropped_ = 0;
};

}  // namespace varno
