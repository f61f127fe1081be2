#pragma once

#include <VarnoTraffic/NotationVariables.h>
#include <VarnoTraffic/PacketDirectory.h>
#include <VarnoTraffic/Private/FieldTree.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace varno {

// Takes a line of the one-line notation to pieces, from its front on. Every operation but atEnd
// skips the blanks before the piece; what is not understood is thrown as a NotationError.
class NotationParser {
 public:
  // Begins at an offset in the line, which columns are counted from the beginning of. variables:
  // what $name stands for; null where '$' is a character like others.
  explicit NotationParser(std::string_view line, std::size_t at = 0,
                          const NotationVariables* variables = nullptr);

  // Each of these takes its piece where there is one.
  std::optional<std::int64_t> takeTime();
  bool takeWord(std::string_view word);

  std::string_view takeName(std::string_view expected);
  // Up to one of the words `ends`, too.
  std::vector<std::uint8_t> takeHex(std::span<const std::string_view> ends = {});
  FieldValue takeFields();
  // A value alone.
  FieldValue takeValue();
  // A text without quotes: up to the next blank, or all that is left.
  FieldValue takeText(bool isAllThatIsLeft);
  // The text up to one of the characters, which has to be there.
  std::string_view takeUpTo(std::string_view characters, std::string_view expected);
  // Whether such characters come next; takes them.
  bool takeSign(std::string_view sign);
  // The note, if there is one, and nothing else up to the end.
  std::string takeNote(std::string_view expected);

  // A value ends with a blank or with the line.
  void expectEndOfValue() { expectBoundary(false); }

  // Whether there is a piece that is none of the words and no note.
  bool hasPieceBefore(std::span<const std::string_view> words);

  // Where the next piece begins, from 1 on.
  std::size_t column();
  // How far the line was taken, from 0 on.
  std::size_t offset() const { return at_; }
  bool atQuote() const { return peek() == '"'; }
  // Whether a value was taken that is known only later.
  bool hasLater() const { return hasLater_; }

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
  FieldValue takeVariable(std::string_view name, std::size_t column);
  std::string takeQuoted();
  void takeEscape(std::string& text);
  void expectBoundary(bool isNested);

  std::string_view line_;
  std::size_t at_;
  const NotationVariables* variables_;
  bool hasLater_ = false;
};

// The packet type that is named next.
const PacketDirectory::Entry& takePacketType(NotationParser& parser,
                                             const PacketDirectory& directory,
                                             std::string_view expected);

// The value as the one-line notation writes it.
std::string writtenValue(const FieldValue& value);

// The nanoseconds of a time in seconds with up to nine decimals; none where it is no such time.
std::optional<std::int64_t> timeIn(std::string_view text);

// The byte that two hex digits at the text's beginning tell.
std::optional<std::uint8_t> hexByteIn(std::string_view text);

}  // namespace varno
