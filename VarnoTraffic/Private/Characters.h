#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace varno {

// The same bytes as text.
inline std::string_view charactersOf(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace varno
