#pragma once

#include <VarnoTraffic/Notation.h>

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace varno::tool {

// Reads the lines of packets that people type.
class PacketLine {
 public:
  // False, with a message, where the line is not understood; what is unusual in it is told, too.
  // place: where the line is, for messages; empty, or as "line 3, ".
  bool read(std::string_view line, const std::string& place);

  // What it stood for: none for a blank line or a remark. Valid until the next one is read.
  std::span<const std::uint8_t> bytes() const { return record_.bytes; }

 private:
  void warn(std::string_view line, const std::string& place) const;

  NotationReader reader_;
  TrafficRecord record_;
};

}  // namespace varno::tool
