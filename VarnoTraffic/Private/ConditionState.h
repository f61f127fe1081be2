#pragma once

#include <VarnoTraffic/PacketDirectory.h>
#include <VarnoTraffic/Private/FieldTree.h>
#include <VarnoTraffic/Private/NotationParser.h>
#include <VarnoTraffic/Private/RegularExpression.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace varno {

enum class Comparison : std::uint8_t {
  kEqual,
  kUnequal,
  kLess,
  kGreater,
  kNotGreater,
  kNotLess,
  kMatches,
  kPresent,
  kBinds,  // =?name
};

// What a FieldCondition is about.
struct ConditionState {
  // Takes the condition that comes next. isAlone: it is all of the line, and the value may have
  // blanks.
  ConditionState(NotationParser& parser, bool isAlone);

  // Throws NotationError where a packet of the type cannot have the field or value.
  void check(const PacketDirectory::Entry& entry);

  bool holds(const HudPacket& packet) const;

  std::string path;
  std::size_t column = 1;
  Comparison comparison = Comparison::kEqual;
  std::string_view sign;  // "=", "!=" ..
  FieldValue value;       // of kBinds the name
  std::optional<RegularExpression> expression;
  // What check found out: that the value is a secret; and of a list the text that it is to have.
  bool isSecret = false;
  std::optional<std::string> list;

 private:
  template <class Value>
  bool compares(const Value& fieldValue) const;
  template <class Value>
  bool orders(const Value& left, const Value& right) const;
};

// The packet's fields as the one-line notation has them; a list is one of them.
FieldValue fieldsOf(const HudPacket& packet, bool showsSecrets);

// The field with a dotted name; null where there is none.
const FieldValue* findField(const FieldValue& fields, std::string_view path);

}  // namespace varno
