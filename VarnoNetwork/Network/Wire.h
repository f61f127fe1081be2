#pragma once

#include <cstddef>
#include <cstdint>

// What travels between phone and display
//
// The frame
//
//   STX      02, not stuffed
//   command  1 byte, stuffed. The values 02 and 03 are stuffed too: a command's frame begins
//            02 7D 7F, an event's 02 7D 7E and a notification's 02 01
//   param1   1 byte, stuffed
//   param2   1 byte, stuffed
//   payload  the packet type's fields, stuffed; its length is what the type reads
//   ETX      03, not stuffed
//
// No length, no checksum, no version: the transport keeps frames apart.
//
// The fields
//
//   primitive  two's complement or IEEE 754 bits, most significant byte first
//   boolean    one byte: 01 for true, 00 for false; when read, every other value is true as well
//   string     the count of its UTF-8 bytes as a signed 16-bit primitive, then the bytes
//
// The stuffing
//
//   02, 03 and 7D are sent as 7D followed by the byte XOR 7D: 7D 7F, 7D 7E and 7D 00. So the marks
//   02 and 03 never appear inside a frame.

namespace varno {

// The marks around a frame.
inline constexpr std::uint8_t STX = 0x02;
inline constexpr std::uint8_t ETX = 0x03;

// The mark that begins a stuffed pair. The second byte of the pair is the byte XOR this mark.
inline constexpr std::uint8_t ESCAPE = 0x7D;

// The bytes of the shortest frame: the two marks, and three identifiers that need no stuffing.
inline constexpr std::size_t kShortestFrame = 5;

// Whether the byte goes out as a stuffed pair.
constexpr bool mustEscape(std::uint8_t byte) noexcept {
  return byte == STX || byte == ETX || byte == ESCAPE;
}

// Stuffs one byte and returns how many it became, 1 or 2. Both places are always written, which
// spares a branch that payloads make hard to predict.
inline std::size_t stuffByte(std::uint8_t* to, std::uint8_t byte) noexcept {
  const bool escape = mustEscape(byte);
  to[0] = ESCAPE;
  to[escape ? 1 : 0] = escape ? static_cast<std::uint8_t>(byte ^ ESCAPE) : byte;
  return escape ? 2 : 1;
}

}  // namespace varno
