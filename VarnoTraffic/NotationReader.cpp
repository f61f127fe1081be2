#include <VarnoTraffic/Notation.h>
#include <VarnoTraffic/Private/FieldTree.h>
#include <VarnoTraffic/Private/NotationParser.h>
#include <VarnoTraffic/Private/ValueText.h>

#include <algorithm>
#include <optional>
#include <utility>

namespace varno {
namespace {

// The words that begin a record without a packet, and its kind.
constexpr std::pair<std::string_view, RecordKind> kWords[] = {
    {"raw", RecordKind::kFrame},   {"noise", RecordKind::kNoise}, {"torn", RecordKind::kTorn},
    {"short", RecordKind::kShort}, {"long", RecordKind::kLong},   {"fault", RecordKind::kFault},
    {"note", RecordKind::kNote}};

std::optional<RecordKind> takeKind(NotationParser& parser) {
  for (const auto& [word, kind] : kWords) {
    if (parser.takeWord(word)) return kind;
  }
  if (!parser.takeWord("link")) return std::nullopt;
  if (parser.takeWord("up")) return RecordKind::kLinkUp;
  if (parser.takeWord("down")) return RecordKind::kLinkDown;
  const std::size_t column = parser.column();
  throwUnexpected(column, parser.takeName("up or down"), "up or down");
}

std::shared_ptr<HudPacket> takePacket(NotationParser& parser, const PacketDirectory& directory,
                                      std::string_view expected) {
  const PacketDirectory::Entry& entry = takePacketType(parser, directory, expected);
  FieldValue values = parser.takeFields();
  std::shared_ptr<HudPacket> packet = entry.type.make();
  fillFields(*packet, values, false);
  return packet;
}

std::string printable(std::string_view text) {
  std::string shown;
  appendQuoted(shown, text);
  return shown;
}

bool isContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

}  // namespace

const PacketDirectory::Entry& takePacketType(NotationParser& parser,
                                             const PacketDirectory& directory,
                                             std::string_view expected) {
  const std::size_t column = parser.column();
  const std::string_view name = parser.takeName(expected);
  if (const PacketDirectory::Entry* const entry = directory.find(name)) return *entry;
  constexpr std::size_t kMostNames = 6;
  const std::vector<std::string_view> names = directory.alike(name);
  std::string nearest;
  for (std::size_t at = 0; at < std::min(names.size(), kMostNames); ++at) {
    if (at > 0) nearest += ", ";
    nearest += names[at];
  }
  if (names.size() > kMostNames) nearest += ", ..";
  throwUnexpected(column, name,
                  names.size() > 1 ? "the name of one packet type" : std::string(expected),
                  std::move(nearest));
}

std::string NotationError::text() const {
  std::string text = "column " + std::to_string(column) + ": ";
  text += found.empty() ? "the line ends" : "found " + printable(found);
  text += ", expected " + expected;
  if (!nearest.empty()) text += " (nearest: " + nearest + ")";
  return text;
}

std::string NotationError::pointTo(std::string_view line) const {
  constexpr std::size_t kAround = 60;
  const std::size_t at = std::min(column > 0 ? column - 1 : 0, line.size());
  std::size_t begin = at > kAround ? at - kAround : 0;
  while (begin < at && isContinuation(line[begin])) ++begin;
  std::size_t end = std::min(at + kAround, line.size());
  while (end > at && end < line.size() && isContinuation(line[end])) --end;

  std::string shown = begin > 0 ? ".." : "";
  std::string below(shown.size(), ' ');
  for (std::size_t next = begin; next < end;) {
    const std::size_t length =
        std::max<std::size_t>(characterLength(line.substr(next, end - next)), 1);
    std::string character = printable(line.substr(next, length));
    character = character.substr(1, character.size() - 2);
    // What goes out as it is takes one column, and so does what is not fit to be shown.
    const bool isPlain =
        length > 1 || character.size() == 1 || line[next] == '"' || line[next] == '\\';
    shown +=
        isPlain && character.size() <= length + 1 ? std::string(line.substr(next, length)) : ".";
    if (next < at) below += ' ';
    next += length;
  }
  if (end < line.size()) shown += "..";
  return shown + '\n' + below + '^';
}

NotationReader::NotationReader(PacketDirectory directory) : directory_(std::move(directory)) {}

bool NotationReader::read(std::string_view line, TrafficRecord& record,
                          NotationError& error) const {
  return read(line, nullptr, record, error, nullptr);
}

bool NotationReader::read(std::string_view line, const NotationVariables& variables,
                          TrafficRecord& record, NotationError& error, bool* isIncomplete) const {
  return read(line, &variables, record, error, isIncomplete);
}

bool NotationReader::read(std::string_view line, const NotationVariables* variables,
                          TrafficRecord& record, NotationError& error, bool* isIncomplete) const {
  try {
    NotationParser parser(line, 0, variables);
    record.time = parser.takeTime();
    record.direction.reset();
    for (const Direction direction : {Direction::kToDisplay, Direction::kToPhone}) {
      if (!record.direction && parser.takeWord(directionText(direction)))
        record.direction = direction;
    }
    record.bytes.clear();
    if (const std::optional<RecordKind> kind = takeKind(parser)) {
      record.kind = *kind;
      if (mayHaveBytes(*kind)) record.bytes = parser.takeHex();
      record.note = parser.takeNote("a note, as # text");
    } else {
      const auto packet =
          takePacket(parser, directory_, "a packet type, or a kind as raw or noise");
      record.kind = RecordKind::kFrame;
      record.note = parser.takeNote("field=value");
      record.bytes = frameOf(*packet);
    }
    if (isIncomplete != nullptr) *isIncomplete = parser.hasLater();
    return true;
  } catch (NotationError& thrown) {
    error = std::move(thrown);
    return false;
  }
}

std::shared_ptr<HudPacket> NotationReader::readPacket(std::string_view line,
                                                      NotationError& error) const {
  try {
    NotationParser parser(line);
    std::shared_ptr<HudPacket> packet = takePacket(parser, directory_, "a packet type");
    parser.takeNote("field=value");
    return packet;
  } catch (NotationError& thrown) {
    error = std::move(thrown);
    return nullptr;
  }
}

bool NotationReader::isBlank(std::string_view line) noexcept {
  const std::size_t begin = line.find_first_not_of(" \t\r\n");
  return begin == std::string_view::npos || line[begin] == '#';
}

}  // namespace varno
