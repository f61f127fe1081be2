#include <VarnoTraffic/Private/ValueText.h>

#include <algorithm>
#include <array>

namespace varno {
namespace {

constexpr char kDigits[] = "0123456789ABCDEF";

enum class Class : std::uint8_t { kPlain, kQuote, kBackslash, kNewline, kControl, kBeyondAscii };

constexpr std::array<Class, 256> kClasses = [] {
  std::array<Class, 256> classes{};
  for (std::size_t byte = 0; byte < classes.size(); ++byte) {
    classes[byte] = byte >= 0x80                  ? Class::kBeyondAscii
                    : byte < 0x20 || byte == 0x7F ? Class::kControl
                                                  : Class::kPlain;
  }
  classes['"'] = Class::kQuote;
  classes['\\'] = Class::kBackslash;
  classes['\n'] = Class::kNewline;
  return classes;
}();

std::uint8_t byteAt(std::string_view text, std::size_t at) {
  return static_cast<std::uint8_t>(text[at]);
}

bool isContinuation(std::string_view text, std::size_t at) {
  return at < text.size() && (byteAt(text, at) & 0xC0) == 0x80;
}

// C1 controls, line and paragraph separators, and what turns the direction of writing: a peer could
// forge what a reader sees with them.
bool isTreacherous(std::string_view character) {
  if (character.size() == 2) return character[0] == '\xC2' && byteAt(character, 1) < 0xA0;
  if (character.size() != 3 || character[0] != '\xE2') return false;
  const std::uint8_t last = byteAt(character, 2);
  if (character[1] == '\x80') return (last >= 0xA8 && last <= 0xAE) || last == 0x8E || last == 0x8F;
  return character[1] == '\x81' && last >= 0xA6 && last <= 0xA9;
}

enum class Style : std::uint8_t { kQuoted, kNote, kJson };

std::uint32_t codePointOf(std::string_view character) {
  if (character.size() == 1) return byteAt(character, 0);
  std::uint32_t point = byteAt(character, 0) & (0xFFU >> (character.size() + 1));
  for (std::size_t at = 1; at < character.size(); ++at) {
    point = point << 6 | (byteAt(character, at) & 0x3FU);
  }
  return point;
}

// A character below U+10000 that is not shown as it is, or a byte that belongs to none.
void appendEscape(std::string& text, std::string_view bytes, bool isCharacter, Style style) {
  if (style == Style::kJson) {
    const std::uint32_t point = isCharacter ? codePointOf(bytes) : 0xFFFD;
    text += "\\u";
    appendHexByte(text, static_cast<std::uint8_t>(point >> 8));
    appendHexByte(text, static_cast<std::uint8_t>(point));
    return;
  }
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    text += "\\x";
    appendHexByte(text, byteAt(bytes, at));
  }
}

void appendEscaped(std::string& text, std::string_view value, Style style) {
  std::size_t plain = 0;  // where what is not appended yet begins
  std::size_t at = 0;
  const auto replace = [&](std::size_t length, const auto& append) {
    text.append(value, plain, at - plain);
    append(value.substr(at, length));
    at += length;
    plain = at;
  };
  while (at < value.size()) {
    switch (kClasses[byteAt(value, at)]) {
      case Class::kPlain: ++at; break;
      case Class::kQuote:
        if (style == Style::kNote) {
          ++at;
        } else {
          replace(1, [&](std::string_view) { text += "\\\""; });
        }
        break;
      case Class::kBackslash: replace(1, [&](std::string_view) { text += "\\\\"; }); break;
      case Class::kNewline: replace(1, [&](std::string_view) { text += "\\n"; }); break;
      case Class::kControl:
        replace(1, [&](std::string_view byte) { appendEscape(text, byte, true, style); });
        break;
      case Class::kBeyondAscii: {
        const std::size_t length = characterLength(value.substr(at));
        if (length > 0 && !isTreacherous(value.substr(at, length))) {
          at += length;
          break;
        }
        replace(std::max<std::size_t>(length, 1),
                [&](std::string_view bytes) { appendEscape(text, bytes, length > 0, style); });
        break;
      }
    }
  }
  text.append(value, plain);
}

}  // namespace

void appendQuoted(std::string& text, std::string_view value) {
  text += '"';
  appendEscaped(text, value, Style::kQuoted);
  text += '"';
}

void appendJsonText(std::string& text, std::string_view value) {
  text += '"';
  appendEscaped(text, value, Style::kJson);
  text += '"';
}

void appendNote(std::string& text, std::string_view note) {
  const bool endsBlank = note.ends_with(' ');  // which reading would take for layout
  if (endsBlank) note.remove_suffix(1);
  for (;;) {
    const std::size_t mark = note.find("#:");
    appendEscaped(text, note.substr(0, mark), Style::kNote);
    if (mark == std::string_view::npos) break;
    text += "\\x23";
    note.remove_prefix(mark + 1);
  }
  if (endsBlank) text += "\\x20";
}

void appendHexByte(std::string& text, std::uint8_t byte) {
  text += kDigits[byte >> 4];
  text += kDigits[byte & 0x0F];
}

void appendHex(std::string& text, std::span<const std::uint8_t> bytes, std::string_view separator,
               const std::vector<bool>& hidden) {
  if (bytes.empty()) return;
  const std::size_t begin = text.size();
  text.resize(begin + bytes.size() * (2 + separator.size()) - separator.size());
  char* out = text.data() + begin;
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    if (at > 0) out = std::copy(separator.begin(), separator.end(), out);
    const bool isHidden = !hidden.empty() && hidden[at];
    *out++ = isHidden ? kHiddenByte[0] : kDigits[bytes[at] >> 4];
    *out++ = isHidden ? kHiddenByte[1] : kDigits[bytes[at] & 0x0F];
  }
}

void appendTime(std::string& text, std::int64_t nanoseconds) {
  constexpr std::uint64_t kSecond = 1'000'000'000;
  auto rest = static_cast<std::uint64_t>(nanoseconds);
  if (nanoseconds < 0) {
    text += '-';
    rest = 0 - rest;
  }
  appendInteger(text, rest / kSecond);
  char decimals[10] = {'.'};
  rest %= kSecond;
  for (std::size_t at = sizeof decimals; --at > 0; rest /= 10) {
    decimals[at] = static_cast<char>('0' + rest % 10);
  }
  text.append(decimals, sizeof decimals);
}

void appendValue(std::string& text, const StringSet& value) {
  char separator = '[';
  for (const std::string& element : value) {
    text += separator;
    appendQuoted(text, element);
    separator = ',';
  }
  text += value.empty() ? "[]" : "]";
}

std::size_t characterLength(std::string_view text) {
  if (text.empty()) return 0;
  const std::uint8_t lead = byteAt(text, 0);
  if (lead < 0x80) return 1;
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || !isContinuation(text, 1)) return 0;
  const std::uint8_t second = byteAt(text, 1);
  if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second >= 0xA0) ||
      (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second >= 0x90)) {
    return 0;  // overlong, a surrogate, or above U+10FFFF
  }
  for (std::size_t at = 2; at < length; ++at) {
    if (!isContinuation(text, at)) return 0;
  }
  return length;
}

std::size_t validLength(std::string_view text) {
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t length = characterLength(text.substr(at));
    if (length == 0) break;
    at += length;
  }
  return at;
}

}  // namespace varno
