#pragma once

#include <cstddef>
#include <cstdint>

// UTF-8 as this library takes it: strict, so no overlong forms, no surrogates and nothing above
// U+10FFFF; NUL and U+FEFF are characters like any other.
namespace varno::utf8 {

bool isValid(const std::uint8_t* bytes, std::size_t length) noexcept;

}  // namespace varno::utf8
