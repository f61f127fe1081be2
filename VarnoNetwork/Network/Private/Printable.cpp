#include <VarnoNetwork/Network/Private/Printable.h>
#include <VarnoNetwork/Network/Private/Utf8.h>

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace varno {
namespace {

struct Range {
  char32_t first;
  char32_t last;
};

// Beyond ASCII, ascending. The two noncharacters at the end of each plane are not listed.
constexpr Range kUnprintable[] = {
    {0x0080, 0x009F},   {0x00AD, 0x00AD},   {0x0600, 0x0605},   {0x061C, 0x061C},
    {0x06DD, 0x06DD},   {0x070F, 0x070F},   {0x0890, 0x0891},   {0x08E2, 0x08E2},
    {0x180E, 0x180E},   {0x200B, 0x200F},   {0x2028, 0x202E},   {0x2060, 0x206F},
    {0xE000, 0xF8FF},   {0xFDD0, 0xFDEF},   {0xFEFF, 0xFEFF},   {0xFFF0, 0xFFFB},
    {0x110BD, 0x110BD}, {0x110CD, 0x110CD}, {0x13430, 0x1343F}, {0x1BCA0, 0x1BCA3},
    {0x1D173, 0x1D17A}, {0xE0000, 0xE00FF}, {0xE01F0, 0xE0FFF}, {0xF0000, 0x10FFFF},
};

constexpr bool isPrintable(char32_t character) noexcept {
  const Range* const range =
      std::lower_bound(std::begin(kUnprintable), std::end(kUnprintable), character,
                       [](const Range& one, char32_t value) { return one.last < value; });
  const bool isListed = range != std::end(kUnprintable) && range->first <= character;
  return !isListed && (character & 0xFFFE) != 0xFFFE;
}

}  // namespace

std::size_t printableLength(std::string_view text) noexcept {
  if (text.empty()) return 0;
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  const std::uint8_t lead = bytes[0];
  if (lead < 0x80) return lead >= 0x20 && lead != 0x7F ? 1 : 0;

  const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  if (text.size() < length || !utf8::isValid(bytes, length)) return 0;
  char32_t character = lead & (0x7FU >> length);
  for (std::size_t at = 1; at < length; ++at) character = character << 6 | (bytes[at] & 0x3FU);
  return isPrintable(character) ? length : 0;
}

}  // namespace varno
