#include <VarnoNetwork/Network/TextFormat.h>

#include <charconv>
#include <iomanip>
#include <locale>
#include <sstream>

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

void appendReal(std::string& text, double value) {
  // A stream of its own with the classic locale: std::to_chars for floating point is missing from
  // the standard libraries of phones that are still in use.
  std::ostringstream stream;
  stream.imbue(std::locale::classic());
  stream << std::fixed << std::setprecision(6) << value;
  text += stream.str();
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
