#pragma once

#include <VarnoNetwork/Network/FieldVisitor.h>
#include <VarnoTraffic/RealText.h>

#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// Single values as the one-line notation writes them, appended to a text that is used again and
// again.

namespace varno {

// What stands for a secret that is not shown.
inline constexpr std::string_view kHiddenText = "***";
inline constexpr std::string_view kHiddenByte = "**";

template <std::integral Integer>
void appendInteger(std::string& text, Integer value) {
  char digits[20];  // as many as the longest 64-bit number has, sign included
  text.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

// The text in double quotes. Bytes that are not valid UTF-8, and characters that a terminal acts
// upon or does not show, as \xNN.
void appendQuoted(std::string& text, std::string_view value);

// The text as a JSON string. Bytes that are not valid UTF-8 become U+FFFD, since JSON has no
// others.
void appendJsonText(std::string& text, std::string_view value);

// The escapes of appendQuoted without quotes, in one line; a '#' before a ':' is escaped as well.
void appendNote(std::string& text, std::string_view note);

// Two upper-case digits.
void appendHexByte(std::string& text, std::uint8_t byte);

// The bytes with `separator` between them; as kHiddenByte those that `hidden`, unless it is empty,
// tells to hide.
void appendHex(std::string& text, std::span<const std::uint8_t> bytes, std::string_view separator,
               const std::vector<bool>& hidden = {});

// Seconds and nine decimals of a time in nanoseconds.
void appendTime(std::string& text, std::int64_t nanoseconds);

inline void appendValue(std::string& text, bool value) { text += value ? "true" : "false"; }
template <std::integral Integer>
requires(!std::same_as<Integer, bool>) void appendValue(std::string& text, Integer value) {
  appendInteger(text, value);
}
template <std::floating_point Real>
void appendValue(std::string& text, Real value) {
  appendReal(text, value);
}
inline void appendValue(std::string& text, const HudString& value) {
  if (value) return appendQuoted(text, *value);
  text += "null";
}
void appendValue(std::string& text, const StringSet& value);

// The length of the character in valid UTF-8 at the text's beginning; 0 where there is none.
std::size_t characterLength(std::string_view text);

// Where the text stops being valid UTF-8; its size where it never does.
std::size_t validLength(std::string_view text);

}  // namespace varno
