#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoNetwork/Network/HudString.h>

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>

namespace varno {

// What a visitor is told of a field besides its value.
struct FieldInfo {
  std::string_view name;
  // False for a field that the payload does not carry in a place of its own.
  bool isOnWire = true;
};

// Receives a packet's fields by name, in wire order: HudPacket::visitFields hands a FieldVisitor
// the values to look at, HudPacket::editFields hands a FieldEditor the values themselves. The
// overload tells the field's type, and with it its encoding: a boolean as one byte, integers and
// floating-point numbers in their own width, a string as its count and bytes, a set of strings as a
// 32-bit count and the strings. The fields of a record come between beginRecord and endRecord.
template <bool kIsConst>
class BasicFieldVisitor {
 public:
  template <class Value>
  using Field = std::conditional_t<kIsConst, const Value&, Value&>;

  virtual ~BasicFieldVisitor() = default;

  virtual void visit(const FieldInfo& field, Field<bool> value) = 0;
  virtual void visit(const FieldInfo& field, Field<std::uint8_t> value) = 0;
  virtual void visit(const FieldInfo& field, Field<std::int16_t> value) = 0;
  virtual void visit(const FieldInfo& field, Field<std::int32_t> value) = 0;
  virtual void visit(const FieldInfo& field, Field<std::int64_t> value) = 0;
  virtual void visit(const FieldInfo& field, Field<float> value) = 0;
  virtual void visit(const FieldInfo& field, Field<double> value) = 0;
  virtual void visit(const FieldInfo& field, Field<HudString> value) = 0;
  virtual void visit(const FieldInfo& field, Field<std::set<std::string>> value) = 0;

  // typeName: the record's type, for example "BluetoothSoundDevice".
  virtual void beginRecord(const FieldInfo& field, std::string_view typeName) = 0;
  virtual void endRecord() = 0;
};

using FieldVisitor = BasicFieldVisitor<true>;
using FieldEditor = BasicFieldVisitor<false>;

}  // namespace varno
