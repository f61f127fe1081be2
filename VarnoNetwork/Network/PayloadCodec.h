#pragma once

#include <VarnoNetwork/Network/FieldVisitor.h>
#include <VarnoNetwork/Network/HudException.h>
#include <VarnoNetwork/Network/HudInputStream.h>
#include <VarnoNetwork/Network/HudOutputStream.h>

#include <concepts>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>

// The four things that can be done with a list of fields: write it, read it, show it, edit it. A
// list is a function template `fields(self, visit)` that calls `visit("name", self.name_)` for each
// field in wire order, or `visit.unsent("name", self.name_)` for one that the payload does not
// carry in a place of its own. A field of a type that is not named here does not compile.

namespace varno {

// A record that packets share with the application, with a field list of its own.
template <class Type>
concept FieldRecord = std::default_initializable<Type> && requires {
  { Type::kTypeName } -> std::convertible_to<std::string_view>;
};

using StringSet = std::set<std::string>;

// Writes each value with the stream operation for its type.
class PayloadWriter {
 public:
  explicit PayloadWriter(HudOutputStream& stream) : stream_(stream) {}

  void operator()(const char*, const std::same_as<bool> auto& value) {
    stream_.writeBoolean(value);
  }
  void operator()(const char*, const std::same_as<std::uint8_t> auto& value) {
    stream_.writeByte(value);
  }
  void operator()(const char*, const std::same_as<std::int16_t> auto& value) {
    stream_.writeShort(value);
  }
  void operator()(const char*, const std::same_as<std::int32_t> auto& value) {
    stream_.writeInt(value);
  }
  void operator()(const char*, const std::same_as<std::int64_t> auto& value) {
    stream_.writeLong(value);
  }
  void operator()(const char*, const std::same_as<float> auto& value) { stream_.writeFloat(value); }
  void operator()(const char*, const std::same_as<double> auto& value) {
    stream_.writeDouble(value);
  }
  void operator()(const char*, const std::same_as<HudString> auto& value) {
    stream_.writeUTF(value);
  }

  // An absent set counts as empty, an absent record as a fresh one.
  void operator()(const char*, const std::shared_ptr<StringSet>& value) {
    stream_.writeInt(value ? static_cast<std::int32_t>(value->size()) : 0);
    if (!value) return;
    for (const std::string& text : *value) stream_.writeUTF(text);
  }
  template <FieldRecord Record>
  void operator()(const char*, const std::shared_ptr<Record>& value) {
    if (value) {
      Record::fields(*value, *this);
    } else {
      const Record fresh;
      Record::fields(fresh, *this);
    }
  }

  template <class Value>
  void unsent(const char*, const Value&) {}

 private:
  HudOutputStream& stream_;
};

// Stores each value as soon as it is read, so that what a failing read leaves is what came before.
class PayloadReader {
 public:
  explicit PayloadReader(HudInputStream& stream) : stream_(stream) {}

  void operator()(const char*, std::same_as<bool> auto& value) { value = stream_.readBoolean(); }
  void operator()(const char*, std::same_as<std::uint8_t> auto& value) {
    value = stream_.readByte();
  }
  void operator()(const char*, std::same_as<std::int16_t> auto& value) {
    value = stream_.readShort();
  }
  void operator()(const char*, std::same_as<std::int32_t> auto& value) {
    value = stream_.readInt();
  }
  void operator()(const char*, std::same_as<std::int64_t> auto& value) {
    value = stream_.readLong();
  }
  void operator()(const char*, std::same_as<float> auto& value) { value = stream_.readFloat(); }
  void operator()(const char*, std::same_as<double> auto& value) { value = stream_.readDouble(); }
  void operator()(const char*, std::same_as<HudString> auto& value) { value = stream_.readUTF(); }

  // Both are filled in place, since the application may hold them too; an absent one is made first.
  void operator()(const char*, std::shared_ptr<StringSet>& value) {
    if (!value) value = std::make_shared<StringSet>();
    value->clear();
    for (std::int32_t left = stream_.readInt(); left > 0; --left) {
      HudString text = stream_.readUTF();
      if (!text) throw InvalidArgumentException("A set of strings holds no absent string");
      value->insert(*std::move(text));
    }
  }
  template <FieldRecord Record>
  void operator()(const char*, std::shared_ptr<Record>& value) {
    if (!value) value = std::make_shared<Record>();
    Record::fields(*value, *this);
  }

  template <class Value>
  void unsent(const char*, Value&) {}

 private:
  HudInputStream& stream_;
};

// Hands each field on to a visitor that does not know the packet's type.
template <bool kIsConst>
class FieldPresenter {
 public:
  explicit FieldPresenter(BasicFieldVisitor<kIsConst>& visitor) : visitor_(visitor) {}

  template <class Value>
  void operator()(const char* name, Value& value) {
    present({name, true}, value);
  }
  template <class Value>
  void unsent(const char* name, Value& value) {
    present({name, false}, value);
  }

 private:
  template <class Value>
  void present(const FieldInfo& field, Value& value) {
    visitor_.visit(field, value);
  }
  template <class Pointer>
  requires requires(Pointer pointer) { typename Pointer::element_type; }
  void present(const FieldInfo& field, Pointer& value) {
    using Pointed = typename std::remove_const_t<Pointer>::element_type;
    if (value) {
      presentPointed(field, *value);
    } else if constexpr (kIsConst) {
      const Pointed fresh;
      presentPointed(field, fresh);
    } else {
      value = std::make_shared<Pointed>();
      presentPointed(field, *value);
    }
  }
  void presentPointed(const FieldInfo& field,
                      typename BasicFieldVisitor<kIsConst>::template Field<StringSet> set) {
    visitor_.visit(field, set);
  }
  template <class Record>
  requires FieldRecord<std::remove_const_t<Record>>
  void presentPointed(const FieldInfo& field, Record& record) {
    visitor_.beginRecord(field, Record::kTypeName);
    Record::fields(record, *this);
    visitor_.endRecord();
  }

  BasicFieldVisitor<kIsConst>& visitor_;
};

}  // namespace varno
