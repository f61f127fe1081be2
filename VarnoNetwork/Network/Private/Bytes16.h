#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

// Sixteen bytes at a time, with the vector types that g++ and clang offer for every processor: one
// register where the processor has one of that size (SSE2, NEON), several smaller ones elsewhere.
// Explicit vectors do not depend on the optimizer, so they are fast at -Os, too.
namespace varno::bytes16 {

using Bytes8 = std::uint8_t __attribute__((vector_size(8)));
using Bytes16 = std::uint8_t __attribute__((vector_size(16)));
using Signed16 = std::int8_t __attribute__((vector_size(16)));
using Halves8 = std::uint16_t __attribute__((vector_size(16)));
using Words2 = std::uint64_t __attribute__((vector_size(16)));

// At -Os g++ would not inline even functions of two instructions.
#define VARNO_ALWAYS_INLINE [[gnu::always_inline]] inline

inline constexpr std::size_t kBytes = sizeof(Bytes16);
inline constexpr bool kLowestFirst = std::endian::native == std::endian::little;

// Loads with the first byte in memory as the lowest byte of the value.
inline std::uint64_t loadWord(const std::uint8_t* bytes) noexcept {
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, sizeof word);
  return kLowestFirst ? word : __builtin_bswap64(word);
}
inline std::uint32_t loadHalfWord(const std::uint8_t* bytes) noexcept {
  std::uint32_t half = 0;
  std::memcpy(&half, bytes, sizeof half);
  return kLowestFirst ? half : __builtin_bswap32(half);
}

// Changes a value to the wire's byte order, or back.
template <class Unsigned>
constexpr Unsigned bigEndian(Unsigned value) noexcept {
  if constexpr (!kLowestFirst) return value;
  if constexpr (sizeof value == 2) return __builtin_bswap16(value);
  if constexpr (sizeof value == 4) return __builtin_bswap32(value);
  if constexpr (sizeof value == 8) return __builtin_bswap64(value);
}

VARNO_ALWAYS_INLINE Bytes16 load(const std::uint8_t* bytes) noexcept {
  Bytes16 block;
  std::memcpy(&block, bytes, kBytes);
  return block;
}

// Loads fewer than 16 bytes and fills the rest with 0. Reads nothing beyond them.
inline Bytes16 loadPart(const std::uint8_t* bytes, std::size_t length) noexcept {
  std::uint64_t first = 0;
  std::uint64_t second = 0;
  // Two overlapping loads cover all bytes; the bytes that both have are shifted out of the second.
  if (length >= 8) {
    first = loadWord(bytes);
    if (length > 8) second = loadWord(bytes + length - 8) >> (8 * (16 - length));
  } else if (length >= 4) {
    const std::uint64_t end = loadHalfWord(bytes + length - 4);
    first = loadHalfWord(bytes) | end >> (8 * (8 - length)) << 32;
  } else {
    while (length-- > 0) first = first << 8 | bytes[length];
  }
  if constexpr (!kLowestFirst) {
    first = __builtin_bswap64(first);
    second = __builtin_bswap64(second);
  }
  return reinterpret_cast<Bytes16>(Words2{first, second});
}

VARNO_ALWAYS_INLINE void store(std::uint8_t* to, Bytes16 block) noexcept {
  std::memcpy(to, &block, kBytes);
}

VARNO_ALWAYS_INLINE Bytes16 highest(Bytes16 left, Bytes16 right) noexcept {
  return left > right ? left : right;
}

// The flags of a comparison: FF for a byte where it holds, 00 where it does not.
template <class Comparison>
VARNO_ALWAYS_INLINE Bytes16 flags(Comparison comparison) noexcept {
  return reinterpret_cast<Bytes16>(comparison);
}

VARNO_ALWAYS_INLINE bool any(Bytes16 flags) noexcept {
  const auto words = reinterpret_cast<Words2>(flags);
  return (words[0] | words[1]) != 0;
}

// The positions of the flags in sixteen bytes, walked from the first to the last.
class Places {
 public:
  VARNO_ALWAYS_INLINE explicit Places(Bytes16 flags) noexcept {
    // Packs the sixteen flags into 64 bits, four bits for each: of two neighboring bytes, the shift
    // and the conversion keep one half of each. Masking then leaves one bit for each flag.
    const Bytes8 halves = __builtin_convertvector(reinterpret_cast<Halves8>(flags) >> 4, Bytes8);
    left_ = std::bit_cast<std::uint64_t>(halves);
    if constexpr (!kLowestFirst) {
      left_ = __builtin_bswap64(left_);
      left_ = (left_ & kLowerHalves) << 4 | (left_ >> 4 & kLowerHalves);
    }
    left_ &= kOneOfFour;
  }

  VARNO_ALWAYS_INLINE bool areLeft() const noexcept { return left_ != 0; }
  VARNO_ALWAYS_INLINE std::size_t first() const noexcept {
    return static_cast<std::size_t>(std::countr_zero(left_)) / 4;
  }
  VARNO_ALWAYS_INLINE void dropFirst() noexcept { left_ &= left_ - 1; }
  // Drops the first position, and the one behind it if that is flagged, too.
  VARNO_ALWAYS_INLINE void dropFirstAndNext() noexcept {
    const std::uint64_t first = left_ & -left_;
    left_ &= ~(first | first << 4);
  }

 private:
  static constexpr std::uint64_t kLowerHalves = 0x0F0F0F0F0F0F0F0FU;
  static constexpr std::uint64_t kOneOfFour = 0x1111111111111111U;

  std::uint64_t left_;
};

}  // namespace varno::bytes16
