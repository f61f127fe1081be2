#pragma once

#include <VarnoNetwork/Network/Private/ByteScan.h>
#include <VarnoNetwork/Network/Wire.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

// The stuffing of many bytes at once, and the rules by which it searches them.
namespace varno::stuffing {

// Bytes that go out as they are.
struct Unescaped {
  static constexpr std::uint8_t kLimit = 0xFF;
  static constexpr std::uint8_t rank(std::uint8_t byte) noexcept {
    // Each is FF for just the bytes that it looks for.
    const auto frameMark = static_cast<std::uint8_t>((byte | 0x01) ^ 0xFC);
    const auto escapeMark = static_cast<std::uint8_t>(byte ^ 0x82);
    return std::max(frameMark, escapeMark);
  }
  static constexpr std::uint64_t marks(std::uint64_t word) noexcept {
    using bytescan::everyByte;
    const std::uint64_t frameMarks = (word | everyByte(0x01)) ^ everyByte(0x03);
    return bytescan::zeroBytes(frameMarks) | bytescan::zeroBytes(word ^ everyByte(ESCAPE));
  }
};

// ASCII bytes that go out as they are.
struct UnescapedAscii {
  // Only what lies between 03 and 7D: so close that one comparison tells, and nearly all text.
  static constexpr std::uint8_t kLimit = ESCAPE - 0x04;
  static constexpr std::uint8_t rank(std::uint8_t byte) noexcept {
    return static_cast<std::uint8_t>(byte - 0x04);
  }
  // (byte ^ 7D) - 1 lies below 7D for just the bytes that belong. The high bits: of a byte that
  // this makes 0 by the borrow, of 7E and 7F by the carry, of a byte beyond ASCII its own.
  static constexpr std::uint64_t marks(std::uint64_t word) noexcept {
    using bytescan::everyByte;
    const std::uint64_t turned = word ^ everyByte(ESCAPE);
    return ((turned - everyByte(0x01)) | (turned + everyByte(0x02)) | turned) & everyByte(0x80);
  }
};

// How many bytes were taken, and how many they became.
struct Stuffed {
  std::size_t taken;
  std::size_t written;
};

// Copies the bytes, stuffed, up to the first that neither the rule takes nor the stuffing escapes.
// There must be room for twice as many.
template <class Rule>
Stuffed stuffTo(std::uint8_t* to, const std::uint8_t* bytes, std::size_t length) noexcept {
  std::size_t taken = 0;
  std::size_t written = 0;
  for (;;) {
    const std::size_t run = bytescan::copyRun<Rule>(to + written, bytes + taken, length - taken);
    taken += run;
    written += run;
    if (taken == length || !mustEscape(bytes[taken])) return {taken, written};
    do {
      to[written++] = ESCAPE;
      to[written++] = static_cast<std::uint8_t>(bytes[taken++] ^ ESCAPE);
    } while (taken < length && mustEscape(bytes[taken]));
  }
}

}  // namespace varno::stuffing
