#include "tools/varno/PacketLine.h"

#include "tools/varno/Failure.h"

#include <VarnoTraffic/Lint.h>

#include <algorithm>

namespace varno::tool {
namespace {

// The line without the time and the direction that it may begin with. It was understood before.
std::string_view packetOf(std::string_view line) {
  const auto skip = [&](std::size_t count) {
    line.remove_prefix(count);
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
  };
  skip(0);
  if (line.starts_with('(')) skip(line.find(')') + 1);
  if (line.starts_with('>') || line.starts_with('<')) skip(1);
  return line;
}

}  // namespace

bool PacketLine::read(std::string_view line, const std::string& place) {
  record_.bytes.clear();
  if (NotationReader::isBlank(line)) return true;
  NotationError error;
  if (!reader_.read(line, record_, error)) {
    record_.bytes.clear();
    // On a command line, the shell takes a packet apart at its blanks.
    const bool isApart =
        place.empty() && line.substr(0, line.find(' ')).find('=') != std::string_view::npos;
    tell(place + error.text() + (isApart ? "; packet and fields are to be one, in quotes" : "") +
         "\n" + error.pointTo(line));
    return false;
  }
  if (record_.kind == RecordKind::kFrame) warn(line, place);
  return true;
}

void PacketLine::warn(std::string_view line, const std::string& place) const {
  NotationError error;
  const auto packet = reader_.readPacket(packetOf(line), error);
  if (packet == nullptr) return;  // bytes
  for (const std::string& sentence : lint(*packet, reader_.directory())) {
    tell(std::string(place).append("warning: ").append(sentence));
  }
}

}  // namespace varno::tool
