#pragma once

#include <cstdint>

namespace varno {

// Whether what is printed for people and programs shows passwords and keys.
enum class Secrets : std::uint8_t {
  kHidden,  // "***" stands for a secret value, and "**" for each byte of a frame that belongs to
            // one
  kShown,
};

}  // namespace varno
