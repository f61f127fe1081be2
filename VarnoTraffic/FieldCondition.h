#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoNetwork/Network/HudPacket.h>
#include <VarnoTraffic/PacketDirectory.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace varno {

struct ConditionState;
struct NotationError;

// What is asked of one field of a packet. The field stands in front, by its name or path:
//
//   = != < > <= >=   compares with the value: numbers as numbers, texts byte by byte
//   ~                a regular expression is found in the value's text (see below)
//   =*               is present: a text that is neither absent nor empty, a set that is not empty;
//                    any number or boolean
//
// The value is written as in the one-line notation; null is the absent text. Of a set, and of a
// list whose path names no place in it ("wheels.pressure" for "wheels[2].pressure"), one element
// has to; = and != with a value in brackets are about the whole of it.
//
// Regular expressions have . [a-z] [^a-z] \d \w \s \D \W \S ( ) | * + ? {2,5} ^ $ and take time in
// proportion to the text, whatever they are.
class VARNO_EXPORT FieldCondition {
 public:
  // Reads a condition that stands alone; the value may have blanks. None, with the error, where it
  // cannot be understood.
  static std::optional<FieldCondition> read(std::string_view text, NotationError& error);

  FieldCondition(const FieldCondition&);
  FieldCondition& operator=(const FieldCondition&);
  ~FieldCondition();

  const std::string& path() const;

  // Whether a packet of the type may have the field, and the field such a value; where not, the
  // error tells.
  bool fits(const PacketDirectory::Entry& entry, NotationError& error) const;

  // False for a packet without the field.
  bool holds(const HudPacket& packet) const;

 private:
  explicit FieldCondition(std::shared_ptr<const ConditionState> state);

  std::shared_ptr<const ConditionState> state_;
};

}  // namespace varno
