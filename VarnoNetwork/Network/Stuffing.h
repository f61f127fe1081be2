#pragma once

#include <VarnoNetwork/Network/ByteScan.h>
#include <VarnoNetwork/Network/HudOutputStream.h>

#include <cstdint>

// Which bytes the stuffing leaves alone, as rules for searching many bytes at once.
namespace varno::stuffing {

constexpr bool mustEscape(std::uint8_t byte) noexcept {
  return byte == 0x02 || byte == 0x03 || byte == ESCAPE;
}

// Bytes that go out as they are.
struct Unescaped {
  static constexpr std::uint8_t kLimit = 1;
  static constexpr std::uint8_t rank(std::uint8_t byte) noexcept {
    return mustEscape(byte) ? 1 : 0;
  }
  static constexpr std::uint64_t marks(std::uint64_t word) noexcept {
    using bytescan::everyByte;
    const std::uint64_t frameMarks = (word | everyByte(0x01)) ^ everyByte(0x03);
    return bytescan::zeroBytes(frameMarks) | bytescan::zeroBytes(word ^ everyByte(ESCAPE));
  }
};

// ASCII bytes that go out as they are. (byte ^ 7D) - 1 lies below 7D for just these: for 02, 03, 7D
// and every byte beyond ASCII it does not, so that one range test tells all that needs care.
struct UnescapedAscii {
  static constexpr std::uint8_t kLimit = ESCAPE;
  static constexpr std::uint8_t rank(std::uint8_t byte) noexcept {
    return static_cast<std::uint8_t>((byte ^ ESCAPE) - 1);
  }
  static constexpr std::uint64_t marks(std::uint64_t word) noexcept {
    using bytescan::everyByte;
    const std::uint64_t turned = word ^ everyByte(ESCAPE);
    // High bits: of a byte 0 by the borrow, of 7E and 7F by the carry, of a byte beyond ASCII its
    // own.
    return ((turned - everyByte(0x01)) | (turned + everyByte(0x02)) | turned) & everyByte(0x80);
  }
};

}  // namespace varno::stuffing
