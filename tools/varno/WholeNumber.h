#pragma once

#include <CLI/CLI.hpp>

#include <cstdint>
#include <limits>

namespace varno::tool {

// Takes decimal digits alone, for a number from first to last. CLI11 itself turns -1 and numbers of
// more than 64 bits into others, and reads 010 as 8.
CLI::Validator wholeNumber(std::uint64_t first = 0,
                           std::uint64_t last = std::numeric_limits<std::uint64_t>::max());

}  // namespace varno::tool
