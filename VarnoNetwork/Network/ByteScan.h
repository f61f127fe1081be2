#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

// Searches through runs of bytes, many at a time, in plain C++ that compilers vectorise.
//
// A rule says of each byte whether it belongs to the run:
//
//   static bool holds(std::uint8_t byte)           for one byte
//   static std::uint64_t marks(std::uint64_t word) for eight: 0 where it holds for all, else a word
//                                                  whose lowest bit lies in the first byte for
//                                                  which it does not; the bits above mean nothing
//   static bool holdsForBlock(const std::uint8_t* bytes)  for kBlock bytes
namespace varno::bytescan {

inline constexpr std::size_t kWord = sizeof(std::uint64_t);
inline constexpr std::size_t kBlock = 64;

inline constexpr std::uint64_t everyByte(std::uint8_t byte) noexcept {
  return 0x0101010101010101U * byte;
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

// The length of the prefix for whose bytes the rule holds. On the way `take(at, count)` is called
// for pieces of a byte, a word or a block that cover the prefix. They end before `length`, may
// overlap, and the last may reach beyond the prefix.
template <class Rule, class Take>
std::size_t takePrefix(const std::uint8_t* bytes, std::size_t length, Take take) noexcept {
  std::size_t at = 0;
  while (length - at >= kBlock && Rule::holdsForBlock(bytes + at)) {
    take(at, std::integral_constant<std::size_t, kBlock>());
    at += kBlock;
  }
  if (length < kWord) {
    while (at < length && Rule::holds(bytes[at])) {
      take(at, std::integral_constant<std::size_t, 1>());
      ++at;
    }
    return at;
  }
  while (at < length) {
    at = std::min(at, length - kWord);  // the last word may overlap what lies before it
    take(at, std::integral_constant<std::size_t, kWord>());
    const std::uint64_t marks = Rule::marks(loadWord(bytes + at));
    if (marks != 0) return at + static_cast<std::size_t>(std::countr_zero(marks)) / 8;
    at += kWord;
  }
  return length;
}

template <class Rule>
std::size_t prefixLength(const std::uint8_t* bytes, std::size_t length) noexcept {
  return takePrefix<Rule>(bytes, length, [](std::size_t, auto) {});
}

// The same, and copies the prefix to `to`, where there must be room for `length` bytes: those
// behind the prefix are left with any value.
template <class Rule>
std::size_t copyPrefix(std::uint8_t* to, const std::uint8_t* bytes, std::size_t length) noexcept {
  return takePrefix<Rule>(bytes, length, [to, bytes](std::size_t at, auto count) {
    std::memcpy(to + at, bytes + at, count);
  });
}

// The running maxima of so many values side by side are what vector registers are made for.
inline constexpr std::size_t kLanes = 16;

// Whether `rank` of each byte of a block lies below `limit`, which must be 80 or less.
template <class Rank>
bool ranksBelow(const std::uint8_t* bytes, std::uint8_t limit, Rank rank) noexcept {
  std::uint8_t highest[kLanes] = {};
  for (std::size_t at = 0; at < kBlock; at += kLanes) {
    for (std::size_t lane = 0; lane < kLanes; ++lane) {
      highest[lane] = std::max(highest[lane], rank(bytes[at + lane]));
    }
  }
  const std::uint64_t low = loadWord(highest);
  const std::uint64_t high = loadWord(highest + kWord);
  const std::uint64_t carry = everyByte(static_cast<std::uint8_t>(0x80 - limit));
  return ((low | high | (low + carry) | (high + carry)) & everyByte(0x80)) == 0;
}

// ASCII.
struct Ascii {
  static constexpr bool holds(std::uint8_t byte) noexcept { return byte < 0x80; }
  static constexpr std::uint64_t marks(std::uint64_t word) noexcept {
    return word & everyByte(0x80);
  }
  static bool holdsForBlock(const std::uint8_t* bytes) noexcept {
    return ranksBelow(bytes, 0x80, [](std::uint8_t byte) { return byte; });
  }
};

}  // namespace varno::bytescan
