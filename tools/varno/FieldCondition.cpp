#include "tools/varno/FieldCondition.h"

#include "tools/varno/Failure.h"

#include <VarnoNetwork/Network/FieldVisitor.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <concepts>
#include <cstdlib>
#include <functional>
#include <type_traits>
#include <utility>

namespace varno::tool {
namespace {

// A field's path without the places in lists: "wheels[2].pressure" is one of "wheels.pressure".
std::string withoutPlaces(const std::string& path) {
  std::string text;
  bool isInside = false;
  for (const char character : path) {
    if (character == '[') isInside = true;
    if (!isInside) text += character;
    if (character == ']') isInside = false;
  }
  return text;
}

template <std::integral Integer>
bool read(std::string_view text, Integer& value) {
  int base = 10;
  if (text.starts_with("0x") || text.starts_with("0X")) {
    text.remove_prefix(2);
    base = 16;
  }
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  return error == std::errc() && end == text.data() + text.size();
}

bool read(std::string_view text, bool& value) {
  value = text == "true" || text == "1";
  return value || text == "false" || text == "0";
}

template <std::floating_point Real>
bool read(const std::string& text, Real& value) {
  char* end = nullptr;
  value = static_cast<Real>(std::strtod(text.c_str(), &end));
  return !text.empty() && *end == '\0';
}

}  // namespace

FieldCondition::FieldCondition(const std::string& text) {
  const std::size_t at = text.find_first_of("=!<>~");
  // The longer ones first.
  constexpr std::array<std::pair<std::string_view, Comparison>, 7> kComparisons = {
      {{"!=", Comparison::kUnequal},
       {"<=", Comparison::kNotGreater},
       {">=", Comparison::kNotLess},
       {"=", Comparison::kEqual},
       {"<", Comparison::kLess},
       {">", Comparison::kGreater},
       {"~", Comparison::kMatches}}};
  const std::string_view rest =
      at == std::string::npos ? std::string_view() : std::string_view(text).substr(at);
  for (const auto& [word, comparison] : kComparisons) {
    if (at == 0 || !rest.starts_with(word)) continue;
    path_ = text.substr(0, at);
    comparison_ = comparison;
    value_ = rest.substr(word.size());
    break;
  }
  if (path_.empty()) {
    throw Failure(kUsage, "--where '" + shown(text) +
                              "': expected a field, one of = != < > <= >= ~, and a value");
  }
  if (comparison_ != Comparison::kMatches) return;
  regex_t pattern{};
  if (const int error = ::regcomp(&pattern, value_.c_str(), REG_EXTENDED | REG_NOSUB); error != 0) {
    std::array<char, 200> reason{};
    ::regerror(error, &pattern, reason.data(), reason.size());
    throw Failure(kUsage, "--where '" + shown(text) + "': " + reason.data());
  }
  pattern_ = std::shared_ptr<regex_t>(new regex_t(pattern), [](regex_t* owned) {
    ::regfree(owned);
    delete owned;
  });
}

template <class Value>
bool FieldCondition::isValueOf() const {
  if constexpr (std::is_arithmetic_v<Value>) {
    Value value{};
    return comparison_ == Comparison::kMatches || read(value_, value);
  }
  return true;
}

bool FieldCondition::fits(const PacketDirectory::Entry& entry) const {
  // What a list's elements are, one that is empty does not tell.
  bool fits = path_.find_first_of("[.") != std::string::npos;
  forEachField(std::as_const(*entry.type.make()),
               [&]<class Value>(const FieldInfo& field, const Value&) {
                 fits |= field.path() == path_ && isValueOf<Value>();
               });
  return fits;
}

bool FieldCondition::holds(const HudPacket& packet) const {
  bool isHeld = false;
  const bool isAnyPlace = path_.find('[') == std::string::npos;
  forEachField(packet, [&](const FieldInfo& field, const auto& value) {
    if (isHeld) return;
    const std::string path = isAnyPlace ? withoutPlaces(field.path()) : field.path();
    if (path == path_) isHeld = compares(value);
  });
  return isHeld;
}

bool FieldCondition::matches(std::string_view value) const {
  // The bounds are told beside, since a text may hold the byte 0.
  regmatch_t bounds{};
  bounds.rm_eo = static_cast<regoff_t>(value.size());
  return ::regexec(pattern_.get(), value.data(), 0, &bounds, REG_STARTEND) == 0;
}

template <class Value>
bool FieldCondition::orders(const Value& left, const Value& right) const {
  switch (comparison_) {
    case Comparison::kEqual: return std::equal_to<>()(left, right);
    case Comparison::kUnequal: return std::not_equal_to<>()(left, right);
    case Comparison::kLess: return left < right;
    case Comparison::kGreater: return left > right;
    case Comparison::kNotGreater: return left <= right;
    case Comparison::kNotLess: return left >= right;
    case Comparison::kMatches: break;
  }
  return false;
}

template <class Value>
bool FieldCondition::compares(const Value& value) const {
  if constexpr (std::same_as<Value, StringSet>) {
    return std::any_of(value.begin(), value.end(),
                       [&](const std::string& each) { return compares(each); });
  } else if constexpr (std::same_as<Value, HudString>) {
    return compares(value.value_or("null"));
  } else if constexpr (std::same_as<Value, std::string>) {
    return comparison_ == Comparison::kMatches ? matches(value) : orders(value, value_);
  } else if (comparison_ == Comparison::kMatches) {
    if constexpr (std::same_as<Value, bool>) return matches(value ? "true" : "false");
    return matches(std::to_string(value));
  } else {
    Value wanted{};
    return read(value_, wanted) && orders(value, wanted);
  }
}

}  // namespace varno::tool
