#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoNetwork/Network/HudString.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>

namespace varno {

using StringSet = std::set<std::string>;

// What a visitor is told about a field besides its value. Valid only during the call; so is
// `parent`.
struct FieldInfo {
  static constexpr std::size_t kNoIndex = std::numeric_limits<std::size_t>::max();

  // The field's name in its list of fields; an element of a list has the name of the list.
  std::string_view name;
  // False for a field that the payload does not carry in a place of its own.
  bool isOnWire = true;
  // True for a password or key, which must not be shown where others see it.
  bool isSecret = false;
  // True for a record or set that is a null pointer: a fresh one stands in for it.
  bool isAbsent = false;
  // The record or list that the field is a part of; null for the packet's own fields.
  const FieldInfo* parent = nullptr;
  // The place of a list's element in the list, from 0.
  std::size_t index = kNoIndex;

  // The path from the packet to the field: "ssid", "soundDevice.name", "wheels[2].pressure".
  VARNO_EXPORT std::string path() const;
};

// Receives a packet's fields, in wire order: HudPacket::visitFields hands a FieldVisitor the values
// to look at, HudPacket::editFields hands a FieldEditor the values themselves. The overload tells
// the field's type, and with it its encoding; an enumeration comes as its underlying integer. To
// treat many types alike, see forEachField and UniformFieldVisitor.
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
  virtual void visit(const FieldInfo& field, Field<std::uint16_t> value) = 0;
  virtual void visit(const FieldInfo& field, Field<std::uint32_t> value) = 0;
  virtual void visit(const FieldInfo& field, Field<std::uint64_t> value) = 0;
  virtual void visit(const FieldInfo& field, Field<float> value) = 0;
  virtual void visit(const FieldInfo& field, Field<double> value) = 0;
  virtual void visit(const FieldInfo& field, Field<HudString> value) = 0;
  virtual void visit(const FieldInfo& field, Field<StringSet> value) = 0;

  // The fields of a record come between these two. typeName: for example "BluetoothSoundDevice".
  virtual void beginRecord(const FieldInfo& /*field*/, std::string_view /*typeName*/) {}
  virtual void endRecord() {}

  // The elements of a list come between these two, each with its index. An editor may lower `size`:
  // the elements beyond it are removed.
  virtual void beginList(const FieldInfo& /*field*/, Field<std::size_t> /*size*/) {}
  virtual void endList() {}
};

using FieldVisitor = BasicFieldVisitor<true>;

// May change the values that it visits, and the lengths of lists.
class FieldEditor : public BasicFieldVisitor<false> {
 public:
  // Called after the last element of a list: says whether to append one more, which is visited
  // next.
  virtual bool wantsElement(const FieldInfo& /*list*/, std::size_t /*index*/) { return false; }
};

// Hands the fields of every type to one function template of `Derived`,
//
//   template <class Value> void onField(const FieldInfo& field, Value& value);
//
// Base: FieldVisitor or FieldEditor.
template <class Derived, class Base>
class UniformFieldVisitor : public Base {
 public:
  template <class Value>
  using Field = typename Base::template Field<Value>;

  void visit(const FieldInfo& field, Field<bool> value) override { pass(field, value); }
  void visit(const FieldInfo& field, Field<std::uint8_t> value) override { pass(field, value); }
  void visit(const FieldInfo& field, Field<std::int16_t> value) override { pass(field, value); }
  void visit(const FieldInfo& field, Field<std::int32_t> value) override { pass(field, value); }
  void visit(const FieldInfo& field, Field<std::int64_t> value) override { pass(field, value); }
  void visit(const FieldInfo& field, Field<std::uint16_t> value) override { pass(field, value); }
  void visit(const FieldInfo& field, Field<std::uint32_t> value) override { pass(field, value); }
  void visit(const FieldInfo& field, Field<std::uint64_t> value) override { pass(field, value); }
  void visit(const FieldInfo& field, Field<float> value) override { pass(field, value); }
  void visit(const FieldInfo& field, Field<double> value) override { pass(field, value); }
  void visit(const FieldInfo& field, Field<HudString> value) override { pass(field, value); }
  void visit(const FieldInfo& field, Field<StringSet> value) override { pass(field, value); }

 private:
  template <class Value>
  void pass(const FieldInfo& field, Value& value) {
    static_cast<Derived&>(*this).onField(field, value);
  }
};

namespace detail {

// The visitor that forEachField makes of its action.
template <class Base, class Action>
class FieldCaller : public UniformFieldVisitor<FieldCaller<Base, Action>, Base> {
 public:
  explicit FieldCaller(Action& action) : action_(action) {}

  template <class Value>
  void onField(const FieldInfo& field, Value& value) {
    action_(field, value);
  }

 private:
  Action& action_;
};

}  // namespace detail

// Calls action(field, value) for each field of the packet, in wire order. The fields of records and
// the elements of lists come as fields of their own, which field.path() names in full. The types of
// the values are those of BasicFieldVisitor::visit; in a packet that is not const the action may
// change them.
//
//   forEachField(packet, [](const FieldInfo& field, auto& value) { ... });
template <class Packet, class Action>
void forEachField(Packet& packet, Action&& action) {
  if constexpr (std::is_const_v<Packet>) {
    detail::FieldCaller<FieldVisitor, std::remove_reference_t<Action>> caller(action);
    packet.visitFields(caller);
  } else {
    detail::FieldCaller<FieldEditor, std::remove_reference_t<Action>> caller(action);
    packet.editFields(caller);
  }
}

}  // namespace varno
