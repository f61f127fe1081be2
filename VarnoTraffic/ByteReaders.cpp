#include <VarnoNetwork/Network/HudLog.h>
#include <VarnoTraffic/Private/CutReader.h>
#include <VarnoTraffic/Private/HexDigits.h>
#include <VarnoTraffic/Private/Readers.h>

#include <string_view>
#include <vector>

// The inputs that are one stream of bytes: as they were on the wire, and in hex.

namespace varno {
namespace {

class WireReader : public CutReader {
 public:
  explicit WireReader(InputBuffer input) : input_(std::move(input)) {}

 private:
  bool nextChunk(Chunk& chunk) override {
    input_.consume(taken_);
    chunk.bytes = input_.peek(1);
    taken_ = chunk.bytes.size();
    return taken_ > 0;
  }

  InputBuffer input_;
  std::size_t taken_ = 0;
};

// Two digits are a byte. Between bytes there may be blanks, commas and the like; in front of one 0x
// or \x; behind # a comment to the end of the line.
class HexTextReader : public CutReader {
 public:
  explicit HexTextReader(InputBuffer input) : input_(std::move(input)) {}

 private:
  bool nextChunk(Chunk& chunk) override {
    bytes_.clear();
    while (bytes_.empty()) {
      const std::span<const std::uint8_t> text = input_.peek(1);
      if (text.empty()) {
        if (high_ >= 0) refuse("half a byte");
        high_ = -1;
        return false;
      }
      // Line by line, so that what comes before a warning is read before it.
      std::size_t taken = 0;
      while (taken < text.size() && (bytes_.empty() || column_ > 0)) {
        read(static_cast<char>(text[taken++]));
      }
      input_.consume(taken);
    }
    chunk.bytes = bytes_;
    return true;
  }

  void read(char character) {
    ++column_;
    if (character == '\n') {
      if (high_ >= 0) refuse("half a byte");
      high_ = -1;
      isSkipping_ = false;
      ++line_;
      column_ = 0;
    } else if (isSkipping_) {
      return;
    } else if (const int digit = hexDigit(character); digit >= 0) {
      if (high_ < 0) {
        high_ = digit;
      } else {
        bytes_.push_back(static_cast<std::uint8_t>(high_ << 4 | digit));
        high_ = -1;
      }
    } else if ((character == 'x' || character == 'X') && (high_ == 0 || last_ == '\\')) {
      high_ = -1;
    } else if (high_ >= 0) {
      refuse("half a byte");
    } else if (character == '#') {
      isSkipping_ = true;
    } else if (kSeparators.find(character) == std::string_view::npos) {
      std::string what = "'";
      what.append(HudLog::printableLine({&character, 1})).append("', which is no hex digit");
      refuse(what);
    }
    last_ = character;
  }

  void refuse(const std::string& what) {
    warn({line_, true,
          "column " + std::to_string(column_) + " has " + what +
              "; the rest of the line is left out"});
    isSkipping_ = true;
    high_ = -1;
  }

  // The first mark of a text in UTF-8 among them.
  static constexpr std::string_view kSeparators = " \t\r,;:-_|[](){}\"\\\xEF\xBB\xBF";

  InputBuffer input_;
  std::vector<std::uint8_t> bytes_;
  std::uint64_t line_ = 1;
  std::uint64_t column_ = 0;
  int high_ = -1;  // the first digit of a byte
  char last_ = '\n';
  bool isSkipping_ = false;
};

}  // namespace

std::unique_ptr<RecordReader> makeWireReader(InputBuffer input) {
  return std::make_unique<WireReader>(std::move(input));
}

std::unique_ptr<RecordReader> makeHexTextReader(InputBuffer input) {
  return std::make_unique<HexTextReader>(std::move(input));
}

}  // namespace varno
