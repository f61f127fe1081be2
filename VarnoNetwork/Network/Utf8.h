#pragma once

#include <cstdint>
#include <string_view>

// UTF-8 as this library takes it: strict, so no overlong forms, no surrogates and nothing above
// U+10FFFF; NUL and U+FEFF are characters like any other.
namespace varno::utf8 {

// The length of the run of well-formed characters beyond ASCII at the front of the bytes; 0 where
// they begin with an ASCII byte or with no well-formed character.
std::size_t multibyteRunLength(const std::uint8_t* bytes, std::size_t length) noexcept;

bool isValid(const std::uint8_t* bytes, std::size_t length) noexcept;

}  // namespace varno::utf8
