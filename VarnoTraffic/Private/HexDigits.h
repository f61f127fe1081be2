#pragma once

#include <cstdint>
#include <string_view>

namespace varno {

// The value of a hex digit of either case; -1 for any other character.
constexpr int hexDigit(char character) noexcept {
  if (character >= '0' && character <= '9') return character - '0';
  if (character >= 'A' && character <= 'F') return character - 'A' + 10;
  if (character >= 'a' && character <= 'f') return character - 'a' + 10;
  return -1;
}

// Whether the text begins with two hex digits.
constexpr bool beginsWithHexByte(std::string_view text) noexcept {
  return text.size() >= 2 && hexDigit(text[0]) >= 0 && hexDigit(text[1]) >= 0;
}

constexpr std::uint8_t hexByte(char high, char low) noexcept {
  return static_cast<std::uint8_t>(hexDigit(high) << 4 | hexDigit(low));
}

}  // namespace varno
