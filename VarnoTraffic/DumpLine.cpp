#include <VarnoTraffic/Private/DumpLine.h>
#include <VarnoTraffic/Private/HexDigits.h>

#include <algorithm>

namespace varno {
namespace {

constexpr std::size_t kMinOffsetDigits = 4;
constexpr std::size_t kMaxOffsetDigits = 8;

bool isWordCharacter(char character) {
  return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z') ||
         (character >= 'a' && character <= 'z') || character == '_';
}

// The row whose offset begins the text.
std::optional<DumpRow> rowAt(std::string_view text) {
  DumpRow row;
  std::size_t digits = 0;
  while (digits < text.size() && digits <= kMaxOffsetDigits && hexDigit(text[digits]) >= 0) {
    row.offset = row.offset << 4 | static_cast<std::uint64_t>(hexDigit(text[digits]));
    ++digits;
  }
  if (digits < kMinOffsetDigits || digits > kMaxOffsetDigits) return std::nullopt;
  if (row.offset % DumpRow::kBytes != 0) return std::nullopt;
  text.remove_prefix(digits);
  if (!text.starts_with(' ')) return std::nullopt;
  text.remove_prefix(1);
  while (row.count < DumpRow::kBytes && beginsWithHexByte(text) &&
         (text.size() == 2 || text[2] == ' ')) {
    row.bytes[row.count++] = hexByte(text[0], text[1]);
    text.remove_prefix(std::min<std::size_t>(text.size(), 3));
  }
  // A short row is filled up with blanks, and two more stand before the text. Where that is blanks
  // alone, an editor may have taken them off.
  const std::size_t blanks = 3 * (DumpRow::kBytes - row.count) + 2;
  const bool isBlank = text.substr(0, blanks).find_first_not_of(' ') == std::string_view::npos;
  const bool isLongEnough = text.size() >= blanks || row.count == DumpRow::kBytes;
  if (row.count == 0 || !isBlank || !isLongEnough) return std::nullopt;
  return row;
}

}  // namespace

std::optional<DumpRow> dumpRowIn(std::string_view line) {
  for (std::size_t at = 0; at < line.size(); ++at) {
    if (hexDigit(line[at]) < 0) continue;
    if (at == 0 || !isWordCharacter(line[at - 1])) {
      if (const auto row = rowAt(line.substr(at))) return row;
    }
  }
  return std::nullopt;
}

std::optional<DumpLabel> dumpLabelIn(std::string_view line) {
  DumpLabel label;
  label.isStart = true;
  std::size_t end = line.find(" Dump start");
  if (end == std::string_view::npos) {
    end = line.find(" Dump end");
    label.isStart = false;
  }
  if (end == std::string_view::npos) return std::nullopt;
  const std::string_view before = line.substr(0, end);
  const std::size_t blank = before.rfind(' ');
  label.name = blank == std::string_view::npos ? before : before.substr(blank + 1);
  // A framework's prefix may end without a blank.
  constexpr std::string_view kSent = "SendPacket(";
  constexpr std::string_view kReceived = "ReceivePacket";
  if (const std::size_t at = label.name.find(kSent);
      at != std::string_view::npos && label.name.ends_with(')')) {
    label.name.remove_prefix(at);
    label.direction = Direction::kToDisplay;
  } else if (label.name.ends_with(kReceived)) {
    label.name = kReceived;
    label.direction = Direction::kToPhone;
  }
  return label;
}

}  // namespace varno
