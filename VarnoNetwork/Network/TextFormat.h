#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoNetwork/Network/HudString.h>

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

namespace varno {

// Formats text from a pattern with printf-like placeholders. The pattern is checked against the
// arguments at compile time; the locale has no influence:
//
//   %@        text: a string, or "(null)" for an absent one
//   %d        a boolean as 1 or 0, or an integer of up to 32 bits, in decimal
//   %lld      a signed 64-bit integer, in decimal
//   %lu       a size, in decimal
//   %X %0nX   an integer of up to 32 bits, in upper-case hexadecimal, with at least n digits
//   %f        a floating-point number with six decimals
//   %c        one byte, as it is
//
// Not std::format: the standard libraries of phones that are still in use have none.
template <class... Arguments>
class FormatPattern;

// One argument of a pattern. It refers to the text it is made from and does not copy it.
class FormatArgument {
 public:
  FormatArgument(std::string_view text) : text_(text) {}
  FormatArgument(const std::string& text) : text_(text) {}
  FormatArgument(const char* text) : text_(text) {}
  FormatArgument(const HudString& text) : text_(text ? std::string_view(*text) : "(null)") {}
  FormatArgument(char byte) : integer_(static_cast<unsigned char>(byte)) {}
  template <std::integral Integer>
  FormatArgument(Integer value) : integer_(static_cast<std::uint64_t>(value)) {}
  template <std::floating_point Real>
  FormatArgument(Real value) : real_(static_cast<double>(value)) {}

  std::string_view text() const { return text_; }
  std::uint64_t integer() const { return integer_; }  // in two's complement
  double real() const { return real_; }

 private:
  std::string_view text_;
  std::uint64_t integer_ = 0;
  double real_ = 0;
};

namespace format {

// One placeholder of a pattern: where it begins, how long it is, what it stands for ('@', 'd', 'l'
// for %lld, 'u' for %lu, 'X', 'f', 'c', or 0 if it is none), and its least number of digits.
struct Placeholder {
  std::size_t begin = std::string_view::npos;
  std::size_t length = 0;
  char kind = 0;
  std::size_t digits = 1;
};

// The first placeholder of `pattern`; its `begin` is npos where there is none.
constexpr Placeholder findPlaceholder(std::string_view pattern) {
  Placeholder found;
  found.begin = pattern.find('%');
  if (found.begin == std::string_view::npos) return found;
  std::string_view rest = pattern.substr(found.begin + 1);
  if (rest.starts_with("lld")) return {found.begin, 4, 'l'};
  if (rest.starts_with("lu")) return {found.begin, 3, 'u'};
  found.length = 2;
  if (rest.size() > 2 && rest[0] == '0' && rest[1] >= '1' && rest[1] <= '8') {
    found.digits = static_cast<std::size_t>(rest[1] - '0');
    found.length = 4;
    rest.remove_prefix(2);
    if (rest[0] != 'X') return found;
  }
  if (!rest.empty() && std::string_view("@dXfc").find(rest[0]) != std::string_view::npos) {
    found.kind = rest[0];
  }
  return found;
}

template <class Argument>
constexpr bool accepts(char kind) {
  constexpr bool isChar = std::is_same_v<Argument, char>;
  constexpr bool isWord = std::is_integral_v<Argument> && !isChar && sizeof(Argument) <= 4;
  switch (kind) {
    case '@':
      return std::is_convertible_v<Argument, FormatArgument> && !std::is_arithmetic_v<Argument>;
    case 'd': return isWord && (std::is_signed_v<Argument> || sizeof(Argument) < 4);
    case 'l': return std::signed_integral<Argument> && sizeof(Argument) == 8;
    case 'u': return std::unsigned_integral<Argument> && sizeof(Argument) >= 4;
    case 'X': return isWord;
    case 'f': return std::is_floating_point_v<Argument>;
    case 'c': return isChar;
    default: return false;
  }
}

VARNO_EXPORT std::string formatArguments(std::string_view pattern,
                                         std::span<const FormatArgument> arguments);

}  // namespace format

template <class... Arguments>
class FormatPattern {
 public:
  consteval FormatPattern(const char* pattern) : text_(pattern) {
    std::string_view rest = text_;
    (checkNext<std::remove_cvref_t<Arguments>>(rest), ...);
    if (rest.find('%') != std::string_view::npos)
      throw "the pattern has more placeholders than arguments";
  }

  std::string_view text() const { return text_; }

 private:
  // A throw here never runs: it stops the compilation, and the compiler shows its text.
  template <class Argument>
  static consteval void checkNext(std::string_view& rest) {
    const format::Placeholder next = format::findPlaceholder(rest);
    if (next.begin == std::string_view::npos)
      throw "the pattern has fewer placeholders than arguments";
    if (!format::accepts<Argument>(next.kind)) throw "the placeholder does not fit its argument";
    rest.remove_prefix(next.begin + next.length);
  }

  std::string_view text_;
};

template <class... Arguments>
std::string formatText(FormatPattern<std::type_identity_t<Arguments>...> pattern,
                       const Arguments&... arguments) {
  const std::array<FormatArgument, sizeof...(Arguments)> list{FormatArgument(arguments)...};
  return format::formatArguments(pattern.text(), list);
}

}  // namespace varno
