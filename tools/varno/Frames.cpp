#include "tools/varno/Frames.h"

#include <string_view>

namespace varno::tool {

void appendHex(std::string& text, std::span<const std::uint8_t> bytes,
               const std::vector<bool>& hidden) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    if (at > 0) text += ' ';
    if (at < hidden.size() && hidden[at]) {
      text += "**";
    } else {
      text += kDigits[bytes[at] >> 4];
      text += kDigits[bytes[at] & 0xF];
    }
  }
}

}  // namespace varno::tool
