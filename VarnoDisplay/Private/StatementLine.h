#pragma once

#include <VarnoTraffic/Notation.h>
#include <VarnoTraffic/NotationVariables.h>

#include <chrono>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace varno {

// Takes a line of a scenario to pieces. What is not understood is thrown as a NotationError.
class StatementLine {
 public:
  explicit StatementLine(std::string_view line);

  // Whether nothing is left but a note.
  bool atEnd();
  // Where the next piece begins, from 1 on.
  std::size_t column();

  // A word, which ends with a blank; `ends` are characters that end it, too.
  std::string_view takeWord(std::string_view expected, std::string_view ends = {});
  // Takes the word where it comes next.
  bool takeIf(std::string_view word);
  // One of the words; which, from 0 on.
  std::size_t takeOneOf(std::span<const std::string_view> words);
  std::string takeText(const NotationVariables& variables);
  std::string takeValue(const NotationVariables& variables);
  std::chrono::nanoseconds takeDuration(const NotationVariables& variables);
  // What is left, without a note.
  std::string_view takeRest();
  void finish(std::string_view expected);

  std::string_view line() const { return line_; }
  // Where the line was taken up to, from 0 on; for what reads a part of it by itself.
  std::size_t& offset() { return at_; }

  [[noreturn]] void fail(std::string_view expected, std::string nearest = {});

 private:
  void skipBlanks();
  std::string_view piece(std::string_view ends);

  std::string_view line_;
  std::size_t at_ = 0;
};

}  // namespace varno
