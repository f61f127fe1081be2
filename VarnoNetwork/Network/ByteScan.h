#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

// Searches through runs of bytes, many at a time, in plain C++ that compilers vectorise.
namespace varno::bytescan {

inline std::uint64_t loadWord(const std::uint8_t* bytes) noexcept {
  std::uint64_t word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

inline constexpr std::uint64_t everyByte(std::uint8_t byte) noexcept {
  return 0x0101010101010101U * byte;
}

// The length of the prefix for whose bytes `Rule::holds`. `Rule::holdsForWord` and
// `Rule::holdsForBlock` say whether it holds for all bytes of eight, or of a whole block, at once.
template <class Rule>
std::size_t prefixLength(const std::uint8_t* bytes, std::size_t length) noexcept {
  constexpr std::size_t kBlock = 64;
  std::size_t at = 0;
  while (length - at >= kBlock && Rule::holdsForBlock(bytes + at, kBlock)) at += kBlock;
  while (length - at >= sizeof(std::uint64_t) && Rule::holdsForWord(loadWord(bytes + at))) {
    at += sizeof(std::uint64_t);
  }
  while (at < length && Rule::holds(bytes[at])) ++at;
  return at;
}

// ASCII.
struct Ascii {
  static constexpr bool holds(std::uint8_t byte) noexcept { return byte < 0x80; }
  static constexpr bool holdsForWord(std::uint64_t word) noexcept {
    return (word & everyByte(0x80)) == 0;
  }
  static bool holdsForBlock(const std::uint8_t* bytes, std::size_t length) noexcept {
    std::uint8_t all = 0;
    for (std::size_t at = 0; at < length; ++at) all = static_cast<std::uint8_t>(all | bytes[at]);
    return all < 0x80;
  }
};

}  // namespace varno::bytescan
