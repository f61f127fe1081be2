#include <VarnoTraffic/Private/RegularExpression.h>

#include <VarnoTraffic/Private/NotationParser.h>
#include <VarnoTraffic/Private/ValueText.h>

#include <algorithm>
#include <optional>

namespace varno {
namespace {

constexpr char32_t kInvalidBytes = 0x110000;  // bytes that belong to no character, from here on
constexpr std::size_t kMostStates = 1000;
constexpr std::size_t kMostNesting = 50;
constexpr std::size_t kMostRepeats = 500;
constexpr std::size_t kMostPieces = 100'000;  // those read again for a repetition included

constexpr const char* kExpectedShorter = "a shorter expression, or smaller counts";

using CharacterSet = RegularExpression::CharacterSet;
using Error = RegularExpression::Error;

std::u32string charactersOf(std::string_view text) {
  std::u32string characters;
  characters.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = characterLength(text);
    const auto lead = static_cast<std::uint8_t>(text[0]);
    char32_t point = lead;
    if (length == 0) point += kInvalidBytes;
    if (length > 1) point = lead & (0xFFU >> (length + 1));
    for (std::size_t at = 1; at < length; ++at) {
      point = point << 6 | (static_cast<std::uint8_t>(text[at]) & 0x3FU);
    }
    characters += point;
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return characters;
}

// The set of a letter behind a backslash; none for a letter without one.
std::optional<CharacterSet> classOf(char32_t letter) {
  switch (letter) {
    case U'd': return CharacterSet{false, {{U'0', U'9'}}};
    case U'D': return CharacterSet{true, {{U'0', U'9'}}};
    case U'w': return CharacterSet{false, {{U'0', U'9'}, {U'A', U'Z'}, {U'_', U'_'}, {U'a', U'z'}}};
    case U'W': return CharacterSet{true, {{U'0', U'9'}, {U'A', U'Z'}, {U'_', U'_'}, {U'a', U'z'}}};
    case U's': return CharacterSet{false, {{U'\t', U'\r'}, {U' ', U' '}}};
    case U'S': return CharacterSet{true, {{U'\t', U'\r'}, {U' ', U' '}}};
    default: return std::nullopt;
  }
}

bool isLetterOrDigit(char32_t character) {
  return (character >= U'0' && character <= U'9') || (character >= U'A' && character <= U'Z') ||
         (character >= U'a' && character <= U'z');
}

}  // namespace

bool RegularExpression::CharacterSet::contains(char32_t character) const {
  const bool isIn = std::any_of(ranges.begin(), ranges.end(), [&](const auto& range) {
    return character >= range.first && character <= range.second;
  });
  return isIn != isNegated;
}

// Turns the expression into states as it reads it. A piece that is repeated is read again for each
// of its copies.
class ExpressionCompiler {
 public:
  ExpressionCompiler(RegularExpression& result, std::string_view expression)
      : result_(result), expression_(charactersOf(expression)) {}

  void compile() {
    takeAlternatives(0);
    if (!atEnd()) fail("no ) without its (");
    add(Step::kFound);
  }

 private:
  using Step = RegularExpression::Step;
  using State = RegularExpression::State;

  struct Repeats {
    std::size_t least = 1;
    std::optional<std::size_t> most = 1;  // none: as often as it goes
  };

  bool atEnd() const { return at_ == expression_.size(); }
  char32_t peek() const { return atEnd() ? U'\0' : expression_[at_]; }
  bool take(char32_t character) {
    if (atEnd() || peek() != character) return false;
    ++at_;
    return true;
  }
  [[noreturn]] void fail(const char* expected) const { throw Error(at_, expected); }

  State& at(std::size_t state) { return result_.states_[state]; }

  std::size_t here() const { return result_.states_.size(); }

  std::size_t add(Step step, std::size_t other = 0) {
    if (here() >= kMostStates) fail(kExpectedShorter);
    result_.states_.push_back({.step = step, .next = here() + 1, .other = other});
    return here() - 1;
  }

  void insertSplit(std::size_t before) {
    // What lies behind moves by one, and so does all that leads there.
    add(Step::kFound);
    for (std::size_t state = here() - 1; state > before; --state) at(state) = at(state - 1);
    for (std::size_t state = before + 1; state < here(); ++state) {
      if (at(state).next >= before) ++at(state).next;
      if (at(state).step == Step::kSplit && at(state).other >= before) ++at(state).other;
    }
    at(before) = {.step = Step::kSplit, .next = before + 1, .other = here()};
  }

  // One alternative leads behind all others: a split that is no choice serves as the way there.
  void takeAlternatives(std::size_t depth) {
    if (depth > kMostNesting) fail("fewer groups in one another");
    std::vector<std::size_t> ends;
    for (;;) {
      const std::size_t begin = here();
      takeSequence(depth);
      if (!take(U'|')) break;
      insertSplit(begin);
      ends.push_back(add(Step::kSplit));
      at(begin).other = here();
    }
    for (const std::size_t end : ends) at(end).next = at(end).other = here();
  }

  void takeSequence(std::size_t depth) {
    while (!atEnd() && peek() != U'|' && peek() != U')') takeRepeated(depth);
  }

  void takeRepeated(std::size_t depth) {
    const std::size_t source = at_;
    const std::size_t begin = here();
    takeAtom(depth);
    const Repeats repeats = takeRepeats();
    const std::size_t behind = at_;
    if (repeats.least == 0) insertSplit(begin);
    std::size_t last = begin;
    const auto copy = [&] {
      last = here();
      at_ = source;
      takeAtom(depth);
      at_ = behind;
    };
    for (std::size_t count = 1; count < repeats.least; ++count) copy();
    if (!repeats.most) {
      const std::size_t back = add(Step::kSplit, last);
      at(back).next = here();
    } else {
      for (std::size_t count = std::max<std::size_t>(repeats.least, 1); count < *repeats.most;
           ++count) {
        copy();
        insertSplit(last);
      }
      if (*repeats.most == 0) result_.states_.resize(begin);
    }
  }

  Repeats takeRepeats() {
    Repeats repeats;
    if (take(U'*')) {
      repeats = {.least = 0, .most = std::nullopt};
    } else if (take(U'+')) {
      repeats = {.least = 1, .most = std::nullopt};
    } else if (take(U'?')) {
      repeats = {.least = 0, .most = 1};
    } else if (take(U'{')) {
      repeats.least = takeCount();
      repeats.most = repeats.least;
      if (take(U',')) {
        repeats.most.reset();
        if (peek() != U'}') repeats.most = takeCount();
      }
      if (repeats.most.value_or(repeats.least) < repeats.least) fail("a count that is not smaller");
      if (!take(U'}')) fail("}");
    } else {
      return repeats;
    }
    if (!atEnd() && (peek() == U'*' || peek() == U'+' || peek() == U'?' || peek() == U'{')) {
      fail("one repetition only; a group can be repeated again");
    }
    return repeats;
  }

  std::size_t takeCount() {
    std::size_t count = 0;
    if (peek() < U'0' || peek() > U'9') fail("a count");
    while (peek() >= U'0' && peek() <= U'9') {
      count = 10 * count + (expression_[at_] - U'0');
      if (count > kMostRepeats) fail("a count up to 500");
      ++at_;
    }
    return count;
  }

  void takeAtom(std::size_t depth) {
    if (++pieces_ > kMostPieces) fail(kExpectedShorter);
    if (take(U'(')) {
      if (take(U'?') && !take(U':')) fail("?: or no ?");
      takeAlternatives(depth + 1);
      if (!take(U')')) fail(")");
    } else if (take(U'^')) {
      add(Step::kBegin);
    } else if (take(U'$')) {
      add(Step::kEnd);
    } else if (take(U'[')) {
      addSet(takeSet());
    } else if (take(U'.')) {
      addSet({.isNegated = true, .ranges = {}});
    } else if (take(U'\\')) {
      if (const auto named = classOf(peek())) {
        ++at_;
        addSet(*named);
      } else {
        const char32_t character = takeEscaped();
        addSet({.isNegated = false, .ranges = {{character, character}}});
      }
    } else if (peek() == U'*' || peek() == U'+' || peek() == U'?' || peek() == U'{') {
      fail("something to repeat");
    } else {
      const char32_t character = expression_[at_++];
      addSet({.isNegated = false, .ranges = {{character, character}}});
    }
  }

  void addSet(CharacterSet set) {
    add(Step::kTake, result_.sets_.size());
    result_.sets_.push_back(std::move(set));
  }

  // Behind a backslash.
  char32_t takeEscaped() {
    if (take(U'n')) return U'\n';
    if (take(U't')) return U'\t';
    if (take(U'x')) {
      std::string digits;
      for (std::size_t at = at_; at < std::min(at_ + 2, expression_.size()); ++at) {
        digits += expression_[at] < 0x80 ? static_cast<char>(expression_[at]) : '?';
      }
      const auto byte = hexByteIn(digits);
      if (!byte) fail("two hex digits");
      at_ += 2;
      return *byte;
    }
    if (atEnd() || isLetterOrDigit(peek())) fail(R"(one of \d \w \s \D \W \S \n \t \xNN \.)");
    return expression_[at_++];
  }

  CharacterSet takeSet() {
    CharacterSet set;
    set.isNegated = take(U'^');
    bool isFirst = true;
    for (; isFirst || peek() != U']'; isFirst = false) {
      if (atEnd()) fail("] at the end of the set");
      if (peek() == U'\\' && at_ + 1 < expression_.size()) {
        if (const auto named = classOf(expression_[at_ + 1])) {
          if (named->isNegated) fail(R"(\d, \w or \s inside of a set)");
          at_ += 2;
          set.ranges.insert(set.ranges.end(), named->ranges.begin(), named->ranges.end());
          continue;
        }
      }
      const char32_t first = takeSetCharacter();
      char32_t last = first;
      if (peek() == U'-' && at_ + 1 < expression_.size() && expression_[at_ + 1] != U']') {
        ++at_;
        last = takeSetCharacter();
        if (last < first) fail("a range from the smaller to the larger character");
      }
      set.ranges.emplace_back(first, last);
    }
    ++at_;
    return set;
  }

  char32_t takeSetCharacter() {
    if (take(U'\\')) return takeEscaped();
    if (peek() == U'[' && at_ + 1 < expression_.size() && expression_[at_ + 1] == U':') {
      fail(R"(\d, \w or \s for a class of characters)");
    }
    return expression_[at_++];
  }

  RegularExpression& result_;
  std::u32string expression_;
  std::size_t at_ = 0;
  std::size_t pieces_ = 0;
};

RegularExpression::RegularExpression(std::string_view expression) {
  ExpressionCompiler(*this, expression).compile();
}

bool RegularExpression::isIn(std::string_view text) const {
  // All states that the expression may be in go through the text together.
  const std::u32string characters = charactersOf(text);
  std::vector<std::size_t> now;
  std::vector<std::size_t> next;
  std::vector<std::size_t> open;
  std::vector<std::size_t> seen(states_.size(), 0);  // the round in which a state was reached
  const auto reach = [&](std::vector<std::size_t>& reached, std::size_t first, std::size_t at) {
    open.push_back(first);
    while (!open.empty()) {
      const std::size_t state = open.back();
      open.pop_back();
      if (seen[state] == at + 1) continue;
      seen[state] = at + 1;
      const State& its = states_[state];
      switch (its.step) {
        case Step::kSplit:
          open.push_back(its.other);
          open.push_back(its.next);
          break;
        case Step::kBegin:
          if (at == 0) open.push_back(its.next);
          break;
        case Step::kEnd:
          if (at == characters.size()) open.push_back(its.next);
          break;
        case Step::kFound: return true;
        case Step::kTake: reached.push_back(state); break;
      }
    }
    return false;
  };
  for (std::size_t at = 0;; ++at) {
    if (reach(now, 0, at)) return true;
    if (at == characters.size()) return false;
    next.clear();
    for (const std::size_t state : now) {
      const State& its = states_[state];
      if (!sets_[its.other].contains(characters[at])) continue;
      if (reach(next, its.next, at + 1)) return true;
    }
    now.swap(next);
  }
}

}  // namespace varno
