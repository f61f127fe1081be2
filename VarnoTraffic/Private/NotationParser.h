#pragma once

#include <VarnoTraffic/Private/FieldTree.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varno {

// Takes a line of the one-line notation to pieces, from its front on. Every operation but atEnd
// skips the blanks before the piece; what is not understood is thrown as a NotationError.
class NotationParser {
 public:
  explicit NotationParser(std::string_view line);

  // Each of these takes its piece where there is one.
  std::optional<std::int64_t> takeTime();
  bool takeWord(std::string_view word);

  std::string_view takeName(std::string_view expected);
  std::vector<std::uint8_t> takeHex();
  FieldValue takeFields();
  // The note, if there is one, and nothing else up to the end.
  std::string takeNote(std::string_view expected);

  // Where the next piece begins, from 1 on.
  std::size_t column();

 private:
  bool atEnd() const { return at_ == line_.size(); }
  char peek() const { return atEnd() ? '\0' : line_[at_]; }
  bool atBlank() const { return peek() == ' ' || peek() == '\t'; }
  void skipBlanks();
  bool atPiece();
  std::string_view piece() const;
  [[noreturn]] void fail(std::string_view expected) const;

  FieldValue takeRecord(char end, std::size_t depth);
  void addField(FieldValue& record, std::string_view name, bool isNested, std::size_t depth);
  FieldValue takeValue(bool isNested, std::size_t depth);
  FieldValue takeList(std::size_t depth);
  std::string takeQuoted();
  void takeEscape(std::string& text);
  void expectBoundary(bool isNested);

  std::string_view line_;
  std::size_t at_ = 0;
};

// The nanoseconds of a time in seconds with up to nine decimals; none where it is no such time.
std::optional<std::int64_t> timeIn(std::string_view text);

// The byte that two hex digits at the text's beginning tell.
std::optional<std::uint8_t> hexByteIn(std::string_view text);

}  // namespace varno
