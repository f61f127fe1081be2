#include <VarnoNetwork/Network/TextFormat.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace varno::format {
namespace {

template <class Integer>
void appendDecimal(std::string& text, Integer value) {
  char digits[20];  // as many as the longest 64-bit number has, sign included
  text.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

void appendHexadecimal(std::string& text, std::uint32_t value, std::size_t leastDigits) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  constexpr std::size_t kMostDigits = 8;
  for (std::size_t digit = kMostDigits; digit-- > 0;) {
    const std::uint32_t rest = value >> (4 * digit);
    if (rest != 0 || digit < leastDigits) text += kDigits[rest & 0x0F];
  }
}

// The exact value of a double as a fixed-point number, the least significant word first.
constexpr std::size_t kFractionWords = 34;  // the least double is 2 to the power of -1074
constexpr std::size_t kIntegerWords = 33;   // 1024 bits, and a word that exactValue sets to 0
constexpr std::size_t kWords = kFractionWords + kIntegerWords;
using FixedPoint = std::array<std::uint32_t, kWords>;

FixedPoint exactValue(std::uint64_t significand, unsigned exponent) {
  // The significand counts units of 2 to the power of exponent - 1075.
  const unsigned shift = 32 * kFractionWords - 1075 + exponent;
  const unsigned bits = shift % 32;
  FixedPoint words{};
  words[shift / 32] = static_cast<std::uint32_t>(significand << bits);
  words[shift / 32 + 1] = static_cast<std::uint32_t>(significand >> (32 - bits));
  words[shift / 32 + 2] = static_cast<std::uint32_t>(significand >> 32 >> (32 - bits));
  return words;
}

// Takes the fraction's six decimals off, rounded to the nearest, a tie to the even one. Where they
// round to 1, it goes into the integer part.
std::uint32_t takeDecimals(FixedPoint& words) {
  constexpr std::uint32_t kMillion = 1'000'000;
  std::uint64_t product = 0;
  bool hasLowerBits = false;  // below the topmost word
  for (std::size_t at = 0; at < kFractionWords; ++at) {
    product = (product >> 32) + std::uint64_t{words[at]} * kMillion;
    words[at] = static_cast<std::uint32_t>(product);
    if (at + 1 < kFractionWords) hasLowerBits = hasLowerBits || words[at] != 0;
  }
  auto decimals = static_cast<std::uint32_t>(product >> 32);
  constexpr std::uint32_t kHalf = 0x80000000;
  const std::uint32_t rest = words[kFractionWords - 1];
  if (rest > kHalf || (rest == kHalf && (hasLowerBits || decimals % 2 != 0))) ++decimals;
  if (decimals < kMillion) return decimals;
  for (std::size_t at = kFractionWords; ++words[at] == 0;) ++at;
  return 0;
}

// Takes the last nine digits of the integer part off.
std::uint32_t takeDigits(FixedPoint& words) {
  constexpr std::uint32_t kBillion = 1'000'000'000;
  std::uint64_t rest = 0;
  for (std::size_t at = kWords; at-- > kFractionWords;) {
    rest = rest << 32 | words[at];
    words[at] = static_cast<std::uint32_t>(rest / kBillion);
    rest %= kBillion;
  }
  return static_cast<std::uint32_t>(rest);
}

// As printf's %f. Not by printf, which follows the process's locale, nor by a stream, which gives a
// wrong text when memory runs out. Not by std::to_chars: phones that are still in use have it for
// integers only.
void appendReal(std::string& text, double value) {
  static_assert(std::numeric_limits<double>::is_iec559 && sizeof value == sizeof(std::uint64_t));
  constexpr unsigned kSpecial = 0x7FF;
  constexpr std::uint64_t kLeadingOne = std::uint64_t{1} << 52;
  const auto bits = std::bit_cast<std::uint64_t>(value);
  const auto exponent = static_cast<unsigned>(bits >> 52) & kSpecial;
  const std::uint64_t significand = bits & (kLeadingOne - 1);
  if (bits >> 63 != 0) text += '-';
  if (exponent == kSpecial) {
    text += significand == 0 ? "inf" : "nan";
    return;
  }
  FixedPoint words =
      exponent == 0 ? exactValue(significand, 1) : exactValue(significand | kLeadingOne, exponent);

  std::array<char, 9 * 35 + 7> digits;  // the greatest double has 309
  char* first = digits.data() + digits.size();
  const auto prepend = [&first](std::uint32_t number, int count) {
    for (; count > 0; --count, number /= 10) *--first = static_cast<char>('0' + number % 10);
  };
  prepend(takeDecimals(words), 6);
  char* const point = --first;
  *point = '.';
  do {
    prepend(takeDigits(words), 9);
  } while (std::any_of(words.begin() + kFractionWords, words.end(),
                       [](std::uint32_t word) { return word != 0; }));
  while (*first == '0' && first + 1 != point) ++first;
  text.append(first, digits.data() + digits.size());
}

}  // namespace

std::string formatArguments(std::string_view pattern, std::span<const FormatArgument> arguments) {
  std::string text;
  for (const FormatArgument& argument : arguments) {
    const Placeholder placeholder = findPlaceholder(pattern);
    text += pattern.substr(0, placeholder.begin);
    pattern.remove_prefix(placeholder.begin + placeholder.length);
    switch (placeholder.kind) {
      case '@': text += argument.text(); break;
      case 'd': appendDecimal(text, static_cast<std::int32_t>(argument.integer())); break;
      case 'l': appendDecimal(text, static_cast<std::int64_t>(argument.integer())); break;
      case 'u': appendDecimal(text, argument.integer()); break;
      case 'X':
        appendHexadecimal(text, static_cast<std::uint32_t>(argument.integer()), placeholder.digits);
        break;
      case 'f': appendReal(text, argument.real()); break;
      case 'c': text += static_cast<char>(argument.integer()); break;
      default: break;  // a pattern with another placeholder does not compile
    }
  }
  return text += pattern;
}

}  // namespace varno::format
