#pragma once

#include <VarnoNetwork/Network/HudPacket.h>
#include <VarnoTraffic/Notation.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace varno {

// A value as it was written, in the one-line notation or in JSON, and where; what it means, the
// field tells that it is for.
struct FieldValue {
  enum class Kind : std::uint8_t {
    kWord,    // without quotes: a number, a boolean, null, or a text
    kText,    // in quotes
    kList,    // its elements
    kRecord,  // its fields, by name
    kLater,   // of a variable whose value is not known yet: nothing is said of the value
  };

  Kind kind = Kind::kRecord;
  std::string text;  // of words and texts
  std::vector<FieldValue> items;
  std::string name;  // of a record's fields
  std::size_t nameColumn = 1;
  std::size_t column = 1;

  FieldValue* find(std::string_view field);
};

// How deep values may be nested. A packet's records go down to PayloadReader::kMostNesting.
inline constexpr std::size_t kMostValueNesting = 100;

// Gives the packet's fields the values. Throws NotationError for what does not fit; the packet may
// have some of the values then.
//
// isHiddenQuoted: whether a hidden secret looks like a text, as in JSON.
void fillFields(HudPacket& packet, FieldValue& values, bool isHiddenQuoted);

// Gives the field the value. Throws NotationError where it does not fit. Value: a type that a
// FieldVisitor visits.
template <class Value>
void assignValue(const FieldValue& value, Value& field);
extern template void assignValue(const FieldValue&, bool&);
extern template void assignValue(const FieldValue&, std::uint8_t&);
extern template void assignValue(const FieldValue&, std::int16_t&);
extern template void assignValue(const FieldValue&, std::int32_t&);
extern template void assignValue(const FieldValue&, std::int64_t&);
extern template void assignValue(const FieldValue&, std::uint16_t&);
extern template void assignValue(const FieldValue&, std::uint32_t&);
extern template void assignValue(const FieldValue&, std::uint64_t&);
extern template void assignValue(const FieldValue&, float&);
extern template void assignValue(const FieldValue&, double&);
extern template void assignValue(const FieldValue&, HudString&);
extern template void assignValue(const FieldValue&, StringSet&);

// Throws NotationError where the record has more fields than any packet: finding each one's double
// takes as long as there are others.
void checkRoom(const FieldValue& record, std::size_t column);

[[noreturn]] void throwUnexpected(std::size_t column, std::string_view found, std::string expected,
                                  std::string nearest = {});

}  // namespace varno
