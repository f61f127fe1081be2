#include <VarnoTraffic/InputFormat.h>

#include <VarnoNetwork/Network/HudException.h>
#include <VarnoNetwork/Network/PacketCatalogue.h>
#include <VarnoTraffic/Private/Characters.h>
#include <VarnoTraffic/Private/DumpLine.h>
#include <VarnoTraffic/Private/HexDigits.h>
#include <VarnoTraffic/Private/NotationParser.h>
#include <VarnoTraffic/Private/Readers.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

namespace varno {
namespace {

constexpr std::size_t kMostLookedAt = 4096;
constexpr std::string_view kBlanks = " \t\r\f";

// In the order of the enumeration.
constexpr std::string_view kFormatTexts[] = {"pcapng",   "pcap",     "JSON lines", "text lines",
                                             "hex dump", "hex text", "wire bytes"};

bool isControl(char character) {
  constexpr std::string_view kOfTexts = "\t\n\f\r\x1B";
  return static_cast<unsigned char>(character) < 0x20 &&
         kOfTexts.find(character) == std::string_view::npos;
}

bool isPcap(std::string_view text) {
  constexpr std::string_view kNumbers[] = {"\xA1\xB2\xC3\xD4", "\xD4\xC3\xB2\xA1",
                                           "\xA1\xB2\x3C\x4D", "\x4D\x3C\xB2\xA1"};
  return std::any_of(std::begin(kNumbers), std::end(kNumbers),
                     [&](std::string_view number) { return text.starts_with(number); });
}

// The first line that is neither blank nor a comment, from its first character that is no blank.
std::string_view decidingLine(std::string_view text) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";  // of a text in UTF-8
  if (text.starts_with(kMark)) text.remove_prefix(kMark.size());
  while (!text.empty()) {
    std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    const std::size_t begin = line.find_first_not_of(kBlanks);
    if (begin == std::string_view::npos || line[begin] == '#') continue;
    line.remove_prefix(begin);
    return line.substr(0, line.find_last_not_of(kBlanks) + 1);
  }
  return {};
}

bool isHexText(std::string_view line) {
  constexpr std::string_view kSeparators = " \t,;:-_|[](){}\"";
  line = line.substr(0, line.find('#'));
  while (!line.empty()) {
    if (line.starts_with("0x") || line.starts_with("0X") || line.starts_with("\\x")) {
      line.remove_prefix(2);
    }
    if (beginsWithHexByte(line)) {
      line.remove_prefix(2);
    } else if (!line.empty() && kSeparators.find(line.front()) != std::string_view::npos) {
      line.remove_prefix(1);
    } else {
      return false;
    }
    if (line == "0" || line == "\\") return false;
  }
  return true;
}

std::string_view takeWord(std::string_view& text, bool (*isPart)(char)) {
  std::size_t length = 0;
  while (length < text.size() && isPart(text[length])) ++length;
  const std::string_view word = text.substr(0, length);
  text.remove_prefix(length);
  return word;
}

bool isDigit(char character) { return character >= '0' && character <= '9'; }
bool isLetter(char character) {
  return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z');
}
bool isNamePart(char character) {
  return isLetter(character) || isDigit(character) || character == '.' || character == '_';
}

void skipBlanks(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
}

bool beginsWithTime(std::string_view line) {
  const std::size_t end = line.find(')');
  return line.starts_with('(') && end != std::string_view::npos && timeIn(line.substr(1, end - 1));
}

bool isTextLine(std::string_view line) {
  if (beginsWithTime(line) || line.starts_with("> ") || line.starts_with("< ")) return true;
  const std::string_view name = takeWord(line, isNamePart);
  if (name.empty()) return false;
  const bool isRaw = name == "raw" || recordKindFromText(name);
  const std::vector<PacketType> types = PacketCatalogue::packetTypes();
  const bool isType = std::any_of(types.begin(), types.end(),
                                  [&](PacketType type) { return type.name().starts_with(name); });
  if (!isRaw && !isType) return false;
  skipBlanks(line);
  if (line.empty() || line.starts_with('#')) return true;
  if (isRaw) return beginsWithHexByte(line);
  return !takeWord(line, isNamePart).empty() && line.starts_with('=');
}

// Whether no more of the input can change what it is recognized as.
bool isDecided(std::string_view text) {
  if (text.size() >= kMostLookedAt || std::any_of(text.begin(), text.end(), isControl)) return true;
  const std::string_view line = decidingLine(text);
  const char* const end = line.data() + line.size();
  return !line.empty() &&
         std::find(end, text.data() + text.size(), '\n') != text.data() + text.size();
}

std::unique_ptr<RecordReader> makeReader(InputBuffer input, InputFormat format) {
  switch (format) {
    case InputFormat::kPcapng: return makePcapngReader(std::move(input));
    case InputFormat::kHexDump: return makeHexDumpReader(std::move(input));
    case InputFormat::kHexText: return makeHexTextReader(std::move(input));
    case InputFormat::kWire: return makeWireReader(std::move(input));
    case InputFormat::kPcap:
      throw InvalidArgumentException(
          "This is a capture file of the older format, pcap, which tells no direction; convert it "
          "by editcap -F pcapng OLD NEW");
    case InputFormat::kJsonLines: return makeJsonLineReader(std::move(input));
    case InputFormat::kTextLines: break;
  }
  return makeTextLineReader(std::move(input));
}

}  // namespace

std::string_view inputFormatText(InputFormat format) noexcept {
  return kFormatTexts[static_cast<std::size_t>(format)];
}

InputFormat recognizeInput(std::span<const std::uint8_t> beginning) {
  const std::string_view text =
      charactersOf(beginning.first(std::min(beginning.size(), kMostLookedAt)));
  if (text.starts_with("\x0A\x0D\x0D\x0A")) return InputFormat::kPcapng;
  if (isPcap(text)) return InputFormat::kPcap;
  if (text.empty() || std::any_of(text.begin(), text.end(), isControl)) return InputFormat::kWire;
  const std::string_view line = decidingLine(text);
  if (dumpRowIn(line) || dumpLabelIn(line)) return InputFormat::kHexDump;
  if (line.starts_with('{')) return InputFormat::kJsonLines;
  if (line.empty() || isTextLine(line)) return InputFormat::kTextLines;
  if (isHexText(line)) return InputFormat::kHexText;
  return InputFormat::kHexDump;
}

std::unique_ptr<RecordReader> openRecords(std::istream& input) {
  InputBuffer buffer(input);
  std::span<const std::uint8_t> beginning = buffer.peek(4);
  for (;;) {
    const std::size_t seen = beginning.size();
    if (isDecided(charactersOf(beginning))) break;
    beginning = buffer.peek(seen + 1);
    if (beginning.size() == seen) break;
  }
  const InputFormat format = recognizeInput(beginning);
  return makeReader(std::move(buffer), format);
}

std::unique_ptr<RecordReader> openRecords(std::istream& input, InputFormat format) {
  return makeReader(InputBuffer(input), format);
}

}  // namespace varno
