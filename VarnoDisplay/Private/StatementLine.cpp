#include <VarnoDisplay/Private/StatementLine.h>

#include <VarnoLink/Duration.h>
#include <VarnoTraffic/NearestName.h>

#include <algorithm>
#include <optional>
#include <utility>

namespace varno {
namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::size_t kMostFound = 40;

}  // namespace

StatementLine::StatementLine(std::string_view line) : line_(line) {
  while (line_.ends_with('\n') || line_.ends_with('\r')) line_.remove_suffix(1);
}

void StatementLine::skipBlanks() {
  at_ = std::min(line_.find_first_not_of(kBlanks, at_), line_.size());
}

bool StatementLine::atEnd() {
  skipBlanks();
  return at_ == line_.size() || line_[at_] == '#';
}

std::size_t StatementLine::column() {
  skipBlanks();
  return at_ + 1;
}

std::string_view StatementLine::piece(std::string_view ends) {
  const std::string_view rest = line_.substr(at_);
  const std::size_t end = std::min(rest.find_first_of(kBlanks), rest.find_first_of(ends));
  return rest.substr(0, end);
}

void StatementLine::fail(std::string_view expected, std::string nearest) {
  const std::string_view found = atEnd() ? std::string_view() : piece({});
  throw NotationError{at_ + 1, std::string(found.substr(0, kMostFound)), std::string(expected),
                      std::move(nearest)};
}

std::string_view StatementLine::takeWord(std::string_view expected, std::string_view ends) {
  if (atEnd()) fail(expected);
  const std::string_view word = piece(ends);
  if (word.empty()) fail(expected);
  at_ += word.size();
  return word;
}

bool StatementLine::takeIf(std::string_view word) {
  if (atEnd() || piece({}) != word) return false;
  at_ += word.size();
  return true;
}

std::size_t StatementLine::takeOneOf(std::span<const std::string_view> words) {
  const std::string_view word = atEnd() ? std::string_view() : piece({});
  const auto found = std::find(words.begin(), words.end(), word);
  if (found == words.end()) {
    std::string expected;
    for (std::size_t at = 0; at < words.size(); ++at) {
      if (at > 0) expected += at + 1 == words.size() ? " or " : ", ";
      expected += words[at];
    }
    fail(expected, std::string(nearestName(word, words)));
  }
  at_ += word.size();
  return static_cast<std::size_t>(found - words.begin());
}

std::string StatementLine::takeText(const NotationVariables& variables) {
  NotationError error;
  std::optional<std::string> text = readNotationText(line_, at_, variables, error);
  if (!text) throw NotationError(std::move(error));
  return *std::move(text);
}

std::string StatementLine::takeValue(const NotationVariables& variables) {
  NotationError error;
  std::optional<std::string> value = readNotationValue(line_, at_, variables, error);
  if (!value) throw NotationError(std::move(error));
  return *std::move(value);
}

std::chrono::nanoseconds StatementLine::takeDuration(const NotationVariables& variables) {
  constexpr std::string_view kExpected = "a length of time, as 250us, 20ms, 1.5s or 3m";
  if (atEnd()) fail(kExpected);
  const std::size_t begin = at_;
  const auto duration = durationFromText(takeText(variables));
  if (!duration) {
    at_ = begin;
    fail(kExpected);
  }
  return *duration;
}

std::string_view StatementLine::takeRest() {
  skipBlanks();
  std::string_view rest = line_.substr(at_);
  at_ = line_.size();
  for (std::size_t at = 0; at < rest.size(); ++at) {
    const bool isNote =
        rest[at] == '#' && (at == 0 || kBlanks.find(rest[at - 1]) != std::string_view::npos);
    if (isNote) rest = rest.substr(0, at);
  }
  return rest.substr(0, rest.find_last_not_of(kBlanks) + 1);
}

void StatementLine::finish(std::string_view expected) {
  if (!atEnd()) fail(expected);
}

}  // namespace varno
