#pragma once

#include "TestSupport.h"

#include <VarnoNetwork/VarnoNetwork.h>

namespace varno::test {

enum class Side : std::uint8_t { left, right };

// A packet type of an application with a field of every kind.
struct Tire {
  static constexpr std::string_view kTypeName = "Tire";
  std::int16_t number = 0;
  HudString name;

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("number", self.number);
    visit("name", self.name);
  }
};

struct EveryKindPacket : TypedPacket<EveryKindPacket, CommandPacket, 0x03, 0x7D> {
  static constexpr std::string_view kTypeName = "EveryKindPacket";
  bool flag = false;
  std::uint8_t octet = 0;
  std::int16_t shorter = 0;
  std::int32_t integer = 0;
  std::int64_t longer = 0;
  std::uint16_t count16 = 0;
  std::uint32_t count32 = 0;
  std::uint64_t count64 = 0;
  float single = 0;
  double real = 0;
  HudString text;
  Side side = Side::left;
  std::shared_ptr<Tire> wheel;
  Tire spare;
  std::shared_ptr<StringSet> names;
  StringSet tags;
  std::vector<Side> sides;
  std::vector<bool> bits;
  std::int32_t local = 0;

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("flag", self.flag);
    visit("octet", self.octet);
    visit("shorter", self.shorter);
    visit("integer", self.integer);
    visit("longer", self.longer);
    visit("count16", self.count16);
    visit("count32", self.count32);
    visit("count64", self.count64);
    visit("single", self.single);
    visit("real", self.real);
    visit("text", self.text);
    visit("side", self.side);
    visit("wheel", self.wheel);
    visit("spare", self.spare);
    visit("names", self.names);
    visit("tags", self.tags);
    visit("sides", self.sides);
    visit("bits", self.bits);
    visit.unsent("local", self.local);
  }
};

// Reads the payload with a FieldReader, which has to do the same as parsePayload. Returns where it
// failed; empty if it did not.
inline std::string readByFields(HudPacket& packet, std::span<const std::uint8_t> payload) {
  HudInputStream stream(payload);
  FieldReader reader(stream);
  try {
    packet.editFields(reader);
    return {};
  } catch (const HudException&) {
    return formatText("%@ at %lu", reader.path(), reader.begin());
  }
}

}  // namespace varno::test
