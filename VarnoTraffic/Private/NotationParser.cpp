#include <VarnoTraffic/Private/NotationParser.h>

#include <VarnoTraffic/NearestName.h>
#include <VarnoTraffic/Private/HexDigits.h>
#include <VarnoTraffic/Private/ValueText.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace varno {
namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kExpectedTime = "a time in seconds, as (1500000000.104000000)";

}  // namespace

std::optional<std::int64_t> timeIn(std::string_view text) {
  constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
  constexpr std::size_t kMostDecimals = 9;
  const bool isNegative = text.starts_with('-');
  if (isNegative) text.remove_prefix(1);
  const std::size_t point = std::min(text.find('.'), text.size());
  std::string digits(text.substr(0, point));
  if (digits.empty()) return std::nullopt;
  const std::string_view decimals = point < text.size() ? text.substr(point + 1) : "0";
  if (decimals.empty() || decimals.size() > kMostDecimals) return std::nullopt;
  digits.append(decimals).append(kMostDecimals - decimals.size(), '0');
  std::uint64_t time = 0;
  for (const char digit : digits) {
    if (digit < '0' || digit > '9') return std::nullopt;
    const auto value = static_cast<std::uint64_t>(digit - '0');
    if (time > (kMost + 1 - value) / 10) return std::nullopt;
    time = 10 * time + value;
  }
  if (time > kMost + (isNegative ? 1 : 0)) return std::nullopt;
  return static_cast<std::int64_t>(isNegative ? 0 - time : time);
}

std::optional<std::uint8_t> hexByteIn(std::string_view text) {
  if (!beginsWithHexByte(text)) return std::nullopt;
  return hexByte(text[0], text[1]);
}

NotationParser::NotationParser(std::string_view line, std::size_t at,
                               const NotationVariables* variables)
    : line_(line), at_(at), variables_(variables) {
  while (line_.ends_with('\n') || line_.ends_with('\r')) line_.remove_suffix(1);
}

void NotationParser::skipBlanks() {
  while (atBlank()) ++at_;
}

bool NotationParser::atPiece() {
  skipBlanks();
  return !atEnd() && peek() != '#';
}

std::size_t NotationParser::column() {
  skipBlanks();
  return at_ + 1;
}

std::string_view NotationParser::piece() const {
  const std::string_view rest = line_.substr(at_);
  return rest.substr(0, std::max<std::size_t>(rest.find_first_of(" \t", 1), 1));
}

void NotationParser::fail(std::string_view expected) const {
  throwUnexpected(at_ + 1, piece(), std::string(expected));
}

std::optional<std::int64_t> NotationParser::takeTime() {
  if (!atPiece() || peek() != '(') return std::nullopt;
  const std::size_t end = line_.find(')', at_);
  if (end == std::string_view::npos) fail(kExpectedTime);
  const std::optional<std::int64_t> time = timeIn(line_.substr(at_ + 1, end - at_ - 1));
  if (!time) fail(kExpectedTime);
  at_ = end + 1;
  return time;
}

bool NotationParser::takeWord(std::string_view word) {
  if (!atPiece() || piece() != word) return false;
  at_ += word.size();
  return true;
}

std::string_view NotationParser::takeName(std::string_view expected) {
  if (!atPiece()) fail(expected);
  const std::string_view name = piece();
  at_ += name.size();
  return name;
}

std::vector<std::uint8_t> NotationParser::takeHex(std::span<const std::string_view> ends) {
  std::vector<std::uint8_t> bytes;
  while (hasPieceBefore(ends)) {
    const std::optional<std::uint8_t> byte = hexByteIn(line_.substr(at_));
    if (!byte && line_.substr(at_).starts_with(kHiddenByte)) {
      fail("two hex digits: these bytes are a secret that was hidden when this was printed");
    }
    if (!byte) fail("two hex digits");
    bytes.push_back(*byte);
    at_ += 2;
  }
  if (!atPiece()) expectBoundary(false);
  return bytes;
}

FieldValue NotationParser::takeFields() { return takeRecord('\0', 0); }

// The fields up to `end`, which is left.
FieldValue NotationParser::takeRecord(char end, std::size_t depth) {
  FieldValue record;
  record.column = column();
  while (atPiece() && peek() != end) {
    const std::size_t begin = at_;
    const std::size_t stop = line_.find_first_of(" \t=\"#{}[],", at_);
    if (stop == std::string_view::npos || stop == begin || line_[stop] != '=') {
      fail("field=value");
    }
    at_ = stop + 1;
    const bool isNested = end != '\0';
    addField(record, line_.substr(begin, stop - begin), isNested, depth);
    expectBoundary(isNested);
  }
  return record;
}

// Takes the value of a field with a dotted name and puts it where it belongs.
void NotationParser::addField(FieldValue& record, std::string_view name, bool isNested,
                              std::size_t depth) {
  const std::string_view whole = name;
  const std::size_t column = at_ - name.size();  // behind the name stands a '='
  FieldValue* at = &record;
  for (;;) {
    if (++depth > kMostValueNesting) throwUnexpected(column, whole, "fewer records in one another");
    const std::size_t dot = name.find('.');
    const std::string_view part = name.substr(0, dot);
    FieldValue* found = at->find(part);
    const bool isLast = dot == std::string_view::npos;
    if (found != nullptr && (isLast || found->kind != FieldValue::Kind::kRecord)) {
      throwUnexpected(column, whole, "each field once");
    }
    if (found == nullptr) {
      checkRoom(*at, column);
      found = &at->items.emplace_back();
      found->column = column;
    }
    if (isLast) *found = takeValue(isNested, depth);
    if (found->name.empty()) {
      found->name = part;
      found->nameColumn = column;
    }
    if (isLast) return;
    at = found;
    name.remove_prefix(dot + 1);
  }
}

FieldValue NotationParser::takeValue(bool isNested, std::size_t depth) {
  if (depth > kMostValueNesting) fail("fewer values in one another");
  FieldValue value;
  value.column = at_ + 1;
  if (peek() == '[') return takeList(depth);
  if (peek() == '{') {
    ++at_;
    value = takeRecord('}', depth + 1);
    if (peek() != '}') fail("}");
    ++at_;
    return value;
  }
  value.kind = FieldValue::Kind::kText;
  if (peek() == '"') {
    value.text = takeQuoted();
    return value;
  }
  value.kind = FieldValue::Kind::kWord;
  const std::size_t end =
      std::min(line_.find_first_of(isNested ? " \t\"#,]}" : " \t\"#", at_), line_.size());
  value.text = line_.substr(at_, end - at_);
  if (value.text.empty()) fail("a value");
  at_ = end;
  if (variables_ == nullptr || value.text.front() != '$') return value;
  return takeVariable(std::string_view(value.text).substr(1), value.column);
}

// Behind its name.
FieldValue NotationParser::takeVariable(std::string_view name, std::size_t column) {
  const auto found = variables_->find(name);
  if (found == variables_->end()) {
    std::vector<std::string_view> names;
    for (const auto& [known, value] : *variables_) names.push_back(known);
    std::string nearest(nearestName(name, names));
    if (!nearest.empty()) nearest.insert(0, 1, '$');
    throwUnexpected(column, std::string("$").append(name),
                    "a variable that was given a value above; a text with $ in front is quoted",
                    nearest);
  }
  FieldValue value;
  value.kind = FieldValue::Kind::kLater;
  if (found->second) {
    value = NotationParser(*found->second).takeValue(true, 0);
  } else {
    hasLater_ = true;
    value.text = std::string("$").append(name);
  }
  value.column = column;
  return value;
}

FieldValue NotationParser::takeValue() {
  skipBlanks();
  return takeValue(false, 0);
}

FieldValue NotationParser::takeText(bool isAllThatIsLeft) {
  FieldValue value;
  value.kind = FieldValue::Kind::kWord;
  value.column = at_ + 1;
  const std::size_t end = isAllThatIsLeft ? line_.size() : line_.find_first_of(kBlanks, at_);
  value.text = line_.substr(at_, end - at_);
  if (value.text.empty() && !isAllThatIsLeft) fail("a value");
  at_ += value.text.size();
  const std::string_view name =
      std::string_view(value.text).substr(std::min<std::size_t>(1, value.text.size()));
  const bool isVariable =
      variables_ != nullptr && value.text.starts_with('$') && isVariableName(name);
  return isVariable ? takeVariable(name, value.column) : value;
}

std::string_view NotationParser::takeUpTo(std::string_view characters, std::string_view expected) {
  if (!atPiece()) fail(expected);
  const std::size_t end = line_.find_first_of(characters, at_);
  const std::size_t blank = line_.find_first_of(kBlanks, at_);
  if (end == std::string_view::npos || end == at_ || blank < end) fail(expected);
  const std::string_view text = line_.substr(at_, end - at_);
  at_ = end;
  return text;
}

bool NotationParser::takeSign(std::string_view sign) {
  if (!line_.substr(at_).starts_with(sign)) return false;
  at_ += sign.size();
  return true;
}

bool NotationParser::hasPieceBefore(std::span<const std::string_view> words) {
  if (!atPiece()) return false;
  // Not piece(), which looks through all that follows without a blank: hex may be long.
  const std::string_view rest = line_.substr(at_);
  return std::none_of(words.begin(), words.end(), [&](std::string_view word) {
    return rest.starts_with(word) &&
           (rest.size() == word.size() || rest[word.size()] == ' ' || rest[word.size()] == '\t');
  });
}

FieldValue NotationParser::takeList(std::size_t depth) {
  FieldValue list;
  list.kind = FieldValue::Kind::kList;
  list.column = at_ + 1;
  ++at_;
  skipBlanks();
  if (peek() != ']') {
    for (;;) {
      skipBlanks();
      list.items.push_back(takeValue(true, depth + 1));
      skipBlanks();
      if (peek() != ',') break;
      ++at_;
    }
  }
  if (peek() != ']') fail(", or ]");
  ++at_;
  return list;
}

std::string NotationParser::takeQuoted() {
  std::string text;
  ++at_;
  for (;;) {
    const std::size_t end = std::min(line_.find_first_of("\"\\", at_), line_.size());
    text += line_.substr(at_, end - at_);
    at_ = end;
    if (atEnd()) fail("\" at the end of the text");
    if (peek() == '"') break;
    takeEscape(text);
  }
  ++at_;
  return text;
}

void NotationParser::takeEscape(std::string& text) {
  const std::string_view rest = line_.substr(at_ + 1);
  if (rest.starts_with('n')) {
    text += '\n';
  } else if (rest.starts_with('"') || rest.starts_with('\\')) {
    text += rest.front();
  } else if (const auto byte = hexByteIn(rest.substr(std::min<std::size_t>(1, rest.size())));
             rest.starts_with('x') && byte) {
    text += static_cast<char>(*byte);
    at_ += 2;
  } else {
    fail("\\\" \\\\ \\n or \\xNN");
  }
  at_ += 2;
}

// A value ends with a blank or the line, inside of others also with what ends those.
void NotationParser::expectBoundary(bool isNested) {
  if (atEnd() || atBlank() || (isNested && peek() == '}')) return;
  if (peek() == '#' && (at_ == 0 || kBlanks.find(line_[at_ - 1]) != std::string_view::npos)) return;
  fail("a blank");
}

std::string NotationParser::takeNote(std::string_view expected) {
  if (atPiece()) fail(expected);
  if (atEnd()) return {};
  expectBoundary(false);
  std::string_view written = line_.substr(at_);
  written = written.substr(0, written.find("#:"));
  at_ = line_.size();
  if (!written.empty()) written.remove_prefix(1);
  if (written.starts_with(' ')) written.remove_prefix(1);
  written = written.substr(0, written.find_last_not_of(kBlanks) + 1);

  std::string note;
  while (!written.empty()) {
    const std::string_view next = written.substr(1);
    std::size_t length = 2;
    if (written.front() != '\\') {
      note += written.front();
      length = 1;
    } else if (next.starts_with('n')) {
      note += '\n';
    } else if (next.starts_with('\\')) {
      note += '\\';
    } else if (const auto byte = hexByteIn(next.substr(std::min<std::size_t>(1, next.size())));
               next.starts_with('x') && byte) {
      note += static_cast<char>(*byte);
      length = 4;
    } else {
      note += '\\';  // people write paths into notes
      length = 1;
    }
    written.remove_prefix(length);
  }
  return note;
}

std::string writtenValue(const FieldValue& value) {
  std::string text;
  const char* separator = "";
  switch (value.kind) {
    case FieldValue::Kind::kWord:
    case FieldValue::Kind::kLater: return value.text;
    case FieldValue::Kind::kText: appendQuoted(text, value.text); return text;
    case FieldValue::Kind::kList:
    case FieldValue::Kind::kRecord: break;
  }
  const bool isList = value.kind == FieldValue::Kind::kList;
  text += isList ? '[' : '{';
  for (const FieldValue& item : value.items) {
    text += std::exchange(separator, isList ? "," : " ");
    if (!isList) text.append(item.name).append("=");
    text += writtenValue(item);
  }
  text += isList ? ']' : '}';
  return text;
}

}  // namespace varno
