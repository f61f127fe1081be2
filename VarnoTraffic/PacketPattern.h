#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoNetwork/Network/HudPacket.h>
#include <VarnoTraffic/NotationVariables.h>
#include <VarnoTraffic/PacketDirectory.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace varno {

struct NotationError;

// A line of the comparison of a pattern with a packet.
struct PatternRow {
  std::string name;    // a field's path; empty for the packet's type
  std::string wanted;  // as ">0"; empty where the pattern asks nothing of the field
  std::string actual;  // empty where the packet has no such field
  bool holds = true;
};

// Which packets are meant:
//
//   SystemTime timeInMillis>0 timeZoneId=?zone   a packet type, and conditions on its fields
//   raw 02 7D 7E 63 63 03                        the frame of these bytes
//   *                                            every frame
//
// The type's name may be cut as in the one-line notation; for the conditions see FieldCondition.
// field=?name holds for any value and gives it the name. A value, cheap to copy; any number of
// threads may read it.
class VARNO_EXPORT PacketPattern {
 public:
  // Every frame.
  PacketPattern();
  PacketPattern(const PacketPattern&);
  PacketPattern& operator=(const PacketPattern&);
  ~PacketPattern();

  // Reads the pattern that stands in the line at `at`, up to the line's end, a note or one of the
  // words `ends`, and puts `at` there. None, with the error, where it cannot be understood.
  static std::optional<PacketPattern> read(std::string_view line, std::size_t& at,
                                           std::span<const std::string_view> ends,
                                           const NotationVariables& variables,
                                           const PacketDirectory& directory, NotationError& error);

  // Whether a variable in it was known only later: it must be read again before it is of use.
  bool isIncomplete() const;

  // The names that it gives to values.
  std::vector<std::string> names() const;

  // packet: what is in the frame; null for none.
  bool matches(std::span<const std::uint8_t> frame, const HudPacket* packet) const;

  // Gives the packet's values their names. packet: one that matches.
  void bind(const HudPacket& packet, NotationVariables& variables) const;

  // How much of it the packet has: more for the right type, and for each condition that holds.
  std::size_t likeness(const HudPacket& packet) const;

  // The pattern beside the packet, field by field, secrets hidden.
  std::vector<PatternRow> compare(const HudPacket& packet) const;

  // As it is written, with the type's whole name, the values of variables, and *** for secrets.
  std::string text() const;

 private:
  struct State;

  std::shared_ptr<const State> state_;
};

}  // namespace varno
