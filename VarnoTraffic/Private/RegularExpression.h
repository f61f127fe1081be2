#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace varno {

// Looks for a regular expression in a text. Takes time and memory in proportion to the length of
// each, whatever they are, and does not recurse over the text: what std::regex and regcomp do with
// "(a*)*b", with a long text or with nested counts depends on the library, and may be the end of
// the program. The same everywhere, and for any locale.
//
//   . [a-z] [^a-z] \d \w \s \D \W \S   one character of UTF-8; bytes that are none count as one
//   each ( ) (?: ) |                        groups and alternatives
//   * + ? {2} {2,} {2,5}               repetitions
//   ^ $                                the beginning and the end of the text
//   \n \t \xNN, \. and the like        the character itself
class RegularExpression {
 public:
  // What the expression is not, and where.
  struct Error : std::runtime_error {
    Error(std::size_t at, const char* wanted) : std::runtime_error(wanted), offset(at) {}
    std::size_t offset;  // in characters, from 0 on
  };

  // Throws Error.
  explicit RegularExpression(std::string_view expression);

  // Whether it is found anywhere in the text.
  bool isIn(std::string_view text) const;

  struct CharacterSet {
    bool isNegated = false;
    std::vector<std::pair<char32_t, char32_t>> ranges;

    bool contains(char32_t character) const;
  };

 private:
  friend class ExpressionCompiler;

  enum class Step : std::uint8_t { kTake, kSplit, kBegin, kEnd, kFound };
  struct State {
    Step step = Step::kFound;
    std::size_t next = 0;
    std::size_t other = 0;  // of kSplit the other way, of kTake the set
  };

  std::vector<State> states_;
  std::vector<CharacterSet> sets_;
};

}  // namespace varno
