#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace varno::tool {

// Two digits a byte, with blanks between; "**" for each byte that `hidden`, unless it is empty,
// tells to hide.
void appendHex(std::string& text, std::span<const std::uint8_t> bytes,
               const std::vector<bool>& hidden = {});

}  // namespace varno::tool
