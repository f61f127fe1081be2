#pragma once

#include <span>
#include <string_view>

namespace varno {

// The name that takes the fewest changes of letters to become the word, whatever the case; empty
// where all are too far away.
std::string_view nearestName(std::string_view word, std::span<const std::string_view> names);

}  // namespace varno
