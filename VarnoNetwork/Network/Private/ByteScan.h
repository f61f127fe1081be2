#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

// Searches through runs of bytes, many at a time, in plain C++ that compilers vectorise.
//
// A rule says of each byte whether it belongs to the run:
//
//   static std::uint8_t rank(std::uint8_t byte)     it surely does if its rank lies below
//   static constexpr std::uint8_t kLimit            this; for the few others that do, marks decides
//   static std::uint64_t marks(std::uint64_t word)  for eight bytes at once: 0 if they all do, else
//                                                   a word whose lowest bit lies in the first that
//                                                   does not; the bits above mean nothing
namespace varno::bytescan {

inline constexpr std::size_t kWord = sizeof(std::uint64_t);

constexpr std::uint64_t everyByte(std::uint8_t byte) noexcept { return 0x0101010101010101U * byte; }

// Not 0 where a byte of the word is 0; the lowest bit lies in the first such byte.
constexpr std::uint64_t zeroBytes(std::uint64_t word) noexcept {
  return (word - everyByte(0x01)) & ~word & everyByte(0x80);
}

// Which byte of a word is the first that its marks tell of.
constexpr std::size_t firstMarked(std::uint64_t marks) noexcept {
  return static_cast<std::size_t>(std::countr_zero(marks)) / 8;
}

// Eight bytes, the first of them lowest.
inline std::uint64_t loadWord(const std::uint8_t* bytes) noexcept {
  std::uint64_t word = 0;
  if constexpr (std::endian::native == std::endian::little) {
    std::memcpy(&word, bytes, sizeof word);
  } else {
    for (std::size_t at = 0; at < kWord; ++at) word |= std::uint64_t{bytes[at]} << (8 * at);
  }
  return word;
}

// The high bits of those bytes of a word that reach the limit.
template <std::uint8_t kLimit>
constexpr std::uint64_t reaching(std::uint64_t word) noexcept {
  // Adding what the limit's lower bits lack carries into the high bit, and never out of the byte.
  constexpr std::uint8_t kMissing = 0x80 - kLimit % 0x80;
  const std::uint64_t carried = (word & everyByte(0x7F)) + everyByte(kMissing);
  return (kLimit < 0x80 ? carried | word : carried & word) & everyByte(0x80);
}

// Whether all of so many bytes surely belong to the run. They are taken as rows of as many lanes as
// a vector register has bytes, so that only one row of highest ranks is left to be looked at.
template <class Rule, std::size_t kBytes>
bool holdsForBlock(const std::uint8_t* bytes) noexcept {
  constexpr std::size_t kLanes = 16;
  std::uint8_t highest[kLanes];
  for (std::size_t lane = 0; lane < kLanes; ++lane) {
    std::uint8_t highestOfLane = 0;
    for (std::size_t row = 0; row < kBytes / kLanes; ++row) {
      highestOfLane = std::max(highestOfLane, Rule::rank(bytes[kLanes * row + lane]));
    }
    highest[lane] = highestOfLane;
  }
  return (reaching<Rule::kLimit>(loadWord(highest)) |
          reaching<Rule::kLimit>(loadWord(highest + kWord))) == 0;
}

// The length of the run at the front. With kCopies the run is copied to `to`, where there must be
// room for `length` bytes: those behind the run are left with any value.
template <class Rule, bool kCopies>
std::size_t takeRun(const std::uint8_t* bytes, std::size_t length, std::uint8_t* to) noexcept {
  constexpr std::size_t kBlock = 64;
  std::size_t at = 0;
  while (length - at >= kBlock) {
    if constexpr (kCopies) std::memcpy(to + at, bytes + at, kBlock);
    if (!holdsForBlock<Rule, kBlock>(bytes + at)) {
      for (std::size_t word = at; word < at + kBlock; word += kWord) {
        const std::uint64_t marks = Rule::marks(loadWord(bytes + word));
        if (marks != 0) return word + firstMarked(marks);
      }
    }
    at += kBlock;
  }
  if (length < kWord) {
    while (at < length && Rule::marks(bytes[at]) == 0) {
      if constexpr (kCopies) to[at] = bytes[at];
      ++at;
    }
    return at;
  }
  while (at < length) {
    at = std::min(at, length - kWord);  // the last word may overlap what lies before it
    if constexpr (kCopies) std::memcpy(to + at, bytes + at, kWord);
    const std::uint64_t marks = Rule::marks(loadWord(bytes + at));
    if (marks != 0) return at + firstMarked(marks);
    at += kWord;
  }
  return length;
}

template <class Rule>
std::size_t runLength(const std::uint8_t* bytes, std::size_t length) noexcept {
  constexpr std::size_t kBlock = 256;  // nothing is copied, so that longer blocks cost less
  std::size_t at = 0;
  while (length - at >= kBlock && holdsForBlock<Rule, kBlock>(bytes + at)) at += kBlock;
  return at + takeRun<Rule, false>(bytes + at, length - at, nullptr);
}

template <class Rule>
std::size_t copyRun(std::uint8_t* to, const std::uint8_t* bytes, std::size_t length) noexcept {
  return takeRun<Rule, true>(bytes, length, to);
}

// ASCII.
struct Ascii {
  static constexpr std::uint8_t kLimit = 0x80;
  static constexpr std::uint8_t rank(std::uint8_t byte) noexcept { return byte; }
  static constexpr std::uint64_t marks(std::uint64_t word) noexcept {
    return word & everyByte(0x80);
  }
};

}  // namespace varno::bytescan
