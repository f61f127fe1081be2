#pragma once

#include <VarnoNetwork/Network/Private/Bytes16.h>
#include <VarnoNetwork/Network/Wire.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

// Stuffs and unstuffs many bytes at once: in blocks of 64 bytes if a block is plain, otherwise in
// parts of 16 bytes.
namespace varno::stuffing {

using bytes16::Bytes16;

inline constexpr std::size_t kPart = bytes16::kBytes;
inline constexpr std::size_t kBlock = 4 * kPart;

// The flags of the escape marks.
VARNO_ALWAYS_INLINE Bytes16 marks(Bytes16 part) noexcept { return bytes16::flags(part == ESCAPE); }

// The flags of the bytes to escape.
VARNO_ALWAYS_INLINE Bytes16 escapes(Bytes16 part) noexcept {
  static_assert((STX | 1) == ETX);
  return bytes16::flags((part | 1) == ETX) | marks(part);
}

// Rules that say which bytes are plain, that is, can be copied unchanged. A rule gives each byte a
// rank, below kLimit for plain bytes. So the highest rank of several parts decides for all of them.

// Plain when sent: bytes that are not escaped.
struct Unescaped {
  static constexpr std::uint8_t kLimit = 0xFF;
  VARNO_ALWAYS_INLINE static Bytes16 rank(Bytes16 part) noexcept { return escapes(part); }
};

// Plain in both directions, and valid text: ASCII that is not escaped.
struct UnescapedAscii {
  // XORed with 7D and reduced by one, the three escaped values become 7E, 7D and FF, and bytes
  // beyond ASCII become 7F to FE. All other bytes become less than 7D.
  static constexpr std::uint8_t kLimit = ESCAPE;
  VARNO_ALWAYS_INLINE static Bytes16 rank(Bytes16 part) noexcept { return (part ^ ESCAPE) - 1; }
};

template <class Rule>
VARNO_ALWAYS_INLINE bool isPlain(Bytes16 rank) noexcept {
  return !bytes16::any(bytes16::flags(rank >= Rule::kLimit));
}

template <class Rule>
VARNO_ALWAYS_INLINE bool isPlainBlock(const std::uint8_t* block) noexcept {
  using bytes16::highest;
  using bytes16::load;
  return isPlain<Rule>(
      highest(highest(Rule::rank(load(block)), Rule::rank(load(block + 16))),
              highest(Rule::rank(load(block + 32)), Rule::rank(load(block + 48)))));
}

// The length of the plain blocks at the front.
template <class Rule>
std::size_t plainBlocks(const std::uint8_t* bytes, std::size_t length) noexcept {
  std::size_t at = 0;
  while (length - at >= kBlock && isPlainBlock<Rule>(bytes + at)) at += kBlock;
  return at;
}

inline bool isAsciiBlock(const std::uint8_t* block) noexcept {
  using bytes16::load;
  return !bytes16::any(((load(block) | load(block + 16)) | (load(block + 32) | load(block + 48))) &
                       0x80);
}

inline void copyBlock(std::uint8_t* to, const std::uint8_t* block) noexcept {
  std::memcpy(to, block, kBlock);
}

// Whether all bytes are plain. With kCopies they are also copied while they are checked; `to` must
// have room for one part more.
template <class Rule, bool kCopies>
bool takePlain(std::uint8_t* to, const std::uint8_t* bytes, std::size_t length) noexcept {
  const auto takePart = [&](Bytes16 part, std::size_t at) {
    if constexpr (kCopies) bytes16::store(to + at, part);
    return isPlain<Rule>(Rule::rank(part));
  };
  if (length < kPart) return takePart(bytes16::loadPart(bytes, length), 0);
  std::size_t at = 0;
  for (; length - at >= kBlock; at += kBlock) {
    if constexpr (kCopies) copyBlock(to + at, bytes + at);
    if (!isPlainBlock<Rule>(bytes + at)) return false;
  }
  for (; length - at >= kPart; at += kPart) {
    if (!takePart(bytes16::load(bytes + at), at)) return false;
  }
  at = length - kPart;  // may overlap what was taken
  return takePart(bytes16::load(bytes + at), at);
}

template <class Rule>
bool arePlain(const std::uint8_t* bytes, std::size_t length) noexcept {
  return takePlain<Rule, false>(nullptr, bytes, length);
}

template <class Rule>
bool copyPlain(std::uint8_t* to, const std::uint8_t* bytes, std::size_t length) noexcept {
  return takePlain<Rule, true>(to, bytes, length);
}

// Stuffs a part and returns how many bytes it became. The sixteen bytes behind the part must be
// readable.
inline std::size_t stuffPart(std::uint8_t* to, const std::uint8_t* bytes) noexcept {
  const Bytes16 part = bytes16::load(bytes);
  bytes16::store(to, part);
  std::size_t written = kPart;
  for (bytes16::Places places(escapes(part)); places.areLeft(); places.dropFirst()) {
    const std::size_t at = places.first();
    std::uint8_t* const pair = to + at + (written - kPart);
    pair[0] = ESCAPE;
    pair[1] = bytes[at] ^ ESCAPE;
    bytes16::store(pair + 2, bytes16::load(bytes + at + 1));  // what follows moves one place on
    ++written;
  }
  return written;
}

// How many bytes were taken, and how many they became.
struct Taken {
  std::size_t taken;
  std::size_t written;
};

// Copies the bytes, stuffed, while there is room for two blocks. With UnescapedAscii it also stops
// before the first block or part that is not ASCII.
template <class Rule>
Taken stuffTo(std::uint8_t* to, std::size_t room, const std::uint8_t* bytes,
              std::size_t length) noexcept {
  constexpr bool kIsAscii = std::is_same_v<Rule, UnescapedAscii>;
  std::size_t taken = 0;
  std::size_t written = 0;
  while (taken < length && room - written >= 2 * kBlock) {
    const std::uint8_t* const next = bytes + taken;
    const std::size_t left = length - taken;
    if (left >= kBlock + kPart) {
      if (isPlainBlock<Rule>(next)) {
        copyBlock(to + written, next);
        written += kBlock;
      } else {
        if (kIsAscii && !isAsciiBlock(next)) break;
        for (std::size_t at = 0; at < kBlock; at += kPart) {
          written += stuffPart(to + written, next + at);
        }
      }
      taken += kBlock;
      continue;
    }
    const std::size_t count = std::min(left, kPart);
    const Bytes16 part = left >= kPart ? bytes16::load(next) : bytes16::loadPart(next, left);
    if (isPlain<Rule>(Rule::rank(part))) {
      bytes16::store(to + written, part);
      written += count;
    } else {
      if (kIsAscii && bytes16::any(part & 0x80)) break;
      for (std::size_t at = 0; at < count; ++at) written += stuffByte(to + written, next[at]);
    }
    taken += count;
  }
  return {taken, written};
}

// Unstuffs a part, and one byte more if a pair begins with the part's last byte. Seventeen bytes
// behind the part must be readable, and writable in `to`.
inline Taken unstuffPart(std::uint8_t* to, const std::uint8_t* wire) noexcept {
  const Bytes16 part = bytes16::load(wire);
  bytes16::store(to, part);
  std::size_t written = kPart;
  // The byte behind a mark is never a mark itself, whatever its value.
  for (bytes16::Places places(marks(part)); places.areLeft(); places.dropFirstAndNext()) {
    const std::size_t at = places.first();
    std::uint8_t* const byte = to + at - (kPart - written);
    *byte = wire[at + 1] ^ ESCAPE;
    if (at + 1 == kPart) return {kPart + 1, written};
    bytes16::store(byte + 1, bytes16::load(wire + at + 2));  // what follows moves to the front
    --written;
  }
  return {kPart, written};
}

struct Unstuffed : Taken {
  bool isAscii;  // what was written
};

// Copies bytes from the wire, unstuffed, while two blocks are left on both sides. May also
// overwrite the bytes behind those that it reports as written.
inline Unstuffed unstuffTo(std::uint8_t* to, std::size_t room, const std::uint8_t* wire,
                           std::size_t length) noexcept {
  std::size_t taken = 0;
  std::size_t written = 0;
  bool isAscii = true;
  while (room - written >= 2 * kBlock && length - taken >= 2 * kBlock) {
    if (isPlainBlock<UnescapedAscii>(wire + taken)) {
      copyBlock(to + written, wire + taken);
      taken += kBlock;
      written += kBlock;
      continue;
    }
    // Pairs may reach beyond the block, by one byte for each part. A pair of two ASCII bytes stands
    // for an ASCII byte.
    isAscii = isAscii && isAsciiBlock(wire + taken) &&
              !bytes16::any(bytes16::load(wire + taken + kBlock) & 0x80);
    for (std::size_t at = 0; at < kBlock; at += kPart) {
      const Taken more = unstuffPart(to + written, wire + taken);
      taken += more.taken;
      written += more.written;
    }
  }
  return {{taken, written}, isAscii};
}

// The same tests for the eight bytes of a word, in any byte order.
constexpr std::uint64_t everyByte(std::uint8_t byte) noexcept { return 0x0101010101010101U * byte; }
constexpr bool hasZeroByte(std::uint64_t word) noexcept {
  return ((word - everyByte(0x01)) & ~word & everyByte(0x80)) != 0;
}
constexpr bool hasMark(std::uint64_t word) noexcept {
  return hasZeroByte(word ^ everyByte(ESCAPE));
}
constexpr bool hasEscapes(std::uint64_t word) noexcept {
  return hasZeroByte((word | everyByte(1)) ^ everyByte(ETX)) || hasMark(word);
}

}  // namespace varno::stuffing
