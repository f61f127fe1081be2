#pragma once

#include <cstddef>
#include <cstdint>

// UTF-8, checked strictly: no overlong forms, no surrogates, nothing above U+10FFFF. NUL and U+FEFF
// are ordinary characters.
namespace varno::utf8 {

bool isValid(const std::uint8_t* bytes, std::size_t length) noexcept;

}  // namespace varno::utf8
