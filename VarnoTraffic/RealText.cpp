#include <VarnoTraffic/Private/ValueText.h>
#include <VarnoTraffic/RealText.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <iomanip>
#include <limits>
#include <locale>
#include <new>
#include <optional>
#include <sstream>
#include <type_traits>

namespace varno {
namespace {

template <class Real>
using Bits = std::conditional_t<sizeof(Real) == 4, std::uint32_t, std::uint64_t>;

template <class Real>
constexpr Bits<Real> kUsualNan = std::bit_cast<Bits<Real>>(std::numeric_limits<Real>::quiet_NaN());

#if defined(__cpp_lib_to_chars)

template <class Real>
void appendFinite(std::string& text, Real value) {
  char digits[32];
  text.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

template <class Real>
bool readFinite(std::string_view text, Real& value) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size();
}

#else  // the standard libraries of some systems have these functions for integers alone

template <class Real>
bool readFinite(std::string_view text, Real& value) {
  std::istringstream stream{std::string(text)};
  stream.imbue(std::locale::classic());
  stream >> std::noskipws >> value;
  // The numbers next to 0 are given together with a failure in some libraries.
  if (stream.fail() && std::fpclassify(value) != FP_SUBNORMAL) return false;
  stream.clear();
  return stream.peek() == std::istringstream::traits_type::eof() && std::isfinite(value);
}

template <class Real>
void appendFinite(std::string& text, Real value) {
  std::string digits;
  for (int precision = 1; precision <= std::numeric_limits<Real>::max_digits10; ++precision) {
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream << std::setprecision(precision) << value;
    if (stream.bad()) throw std::bad_alloc();  // which a stream swallows
    digits = stream.str();
    Real again{};
    if (readFinite(digits, again) &&
        std::bit_cast<Bits<Real>>(again) == std::bit_cast<Bits<Real>>(value)) {
      break;
    }
  }
  text += digits;
}

#endif

template <class Real>
void appendAny(std::string& text, Real value) {
  if (std::isfinite(value)) return appendFinite(text, value);
  if (std::isinf(value)) {
    text += value < 0 ? "-inf" : "inf";
    return;
  }
  text += "nan";
  const auto bits = std::bit_cast<Bits<Real>>(value);
  if (bits == kUsualNan<Real>) return;
  text += "(0x";
  for (int shift = 8 * (static_cast<int>(sizeof bits) - 1); shift >= 0; shift -= 8) {
    appendHexByte(text, static_cast<std::uint8_t>(bits >> shift));
  }
  text += ')';
}

template <class Real>
std::optional<Real> nanOf(std::string_view text) {
  if (text == "nan") return std::bit_cast<Real>(kUsualNan<Real>);
  if (!text.starts_with("nan(0x") || !text.ends_with(')')) return std::nullopt;
  text = text.substr(6, text.size() - 7);
  Bits<Real> bits = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), bits, 16);
  const auto value = std::bit_cast<Real>(bits);
  if (error != std::errc() || end != text.data() + text.size() || !std::isnan(value)) {
    return std::nullopt;
  }
  return value;
}

template <class Real>
bool readAny(std::string_view text, Real& value) {
  if (const std::optional<Real> nan = nanOf<Real>(text)) {
    value = *nan;
    return true;
  }
  if (text == "inf" || text == "-inf") {
    value = std::numeric_limits<Real>::infinity() * (text.front() == '-' ? Real{-1} : Real{1});
    return true;
  }
  // Only what is written as a number: the standard functions take other words, too.
  if (text.starts_with('+') || text.find_first_not_of("+-.0123456789eE") != std::string_view::npos)
    return false;
  return readFinite(text, value);
}

}  // namespace

void appendReal(std::string& text, float value) { appendAny(text, value); }
void appendReal(std::string& text, double value) { appendAny(text, value); }

bool readReal(std::string_view text, float& value) { return readAny(text, value); }
bool readReal(std::string_view text, double& value) { return readAny(text, value); }

}  // namespace varno
