#pragma once

#include <VarnoNetwork/Network/FieldType.h>
#include <VarnoNetwork/Network/FieldVisitor.h>
#include <VarnoNetwork/Network/HudException.h>
#include <VarnoNetwork/Network/HudInputStream.h>
#include <VarnoNetwork/Network/HudOutputStream.h>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// What can be done with a list of fields: write it, read it, show it, edit it. A list is a function
// template `fields(self, visit)` that names each field in wire order by one of
//
//   visit("name", self.name_);               an ordinary field
//   visit.secret("name", self.name_);        a password or key, which `loggable` does not show
//   visit.unsent("name", self.name_);        one that the payload does not carry in its own place
//   visit.unsentSecret("name", self.name_);  both
//
// FieldType.h tells which types a field may have.

namespace varno {

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
  void operator()(const char*, const std::same_as<std::uint16_t> auto& value) {
    stream_.writeShort(static_cast<std::int16_t>(value));
  }
  void operator()(const char*, const std::same_as<std::uint32_t> auto& value) {
    stream_.writeInt(static_cast<std::int32_t>(value));
  }
  void operator()(const char*, const std::same_as<std::uint64_t> auto& value) {
    stream_.writeLong(static_cast<std::int64_t>(value));
  }
  void operator()(const char*, const std::same_as<float> auto& value) { stream_.writeFloat(value); }
  void operator()(const char*, const std::same_as<double> auto& value) {
    stream_.writeDouble(value);
  }
  void operator()(const char*, const std::same_as<HudString> auto& value) {
    stream_.writeUTF(value);
  }
  void operator()(const char*, const std::same_as<StringSet> auto& value) {
    stream_.writeInt(static_cast<std::int32_t>(value.size()));
    for (const std::string& text : value) stream_.writeUTF(text);
  }
  template <FieldEnumeration Enumeration>
  void operator()(const char* name, const Enumeration& value) {
    (*this)(name, static_cast<std::underlying_type_t<Enumeration>>(value));
  }
  template <FieldRecord Record>
  void operator()(const char*, const Record& value) {
    Record::fields(value, *this);
  }
  // An absent set counts as empty, an absent record as a fresh one.
  template <FieldPointee Pointee>
  void operator()(const char* name, const std::shared_ptr<Pointee>& value) {
    if (value) {
      (*this)(name, std::as_const(*value));
    } else {
      const Pointee fresh{};
      (*this)(name, fresh);
    }
  }
  template <FieldType Element>
  void operator()(const char* name, const std::vector<Element>& value) {
    stream_.writeInt(static_cast<std::int32_t>(value.size()));
    for (const Element& element : value) (*this)(name, element);
  }
  template <class Value>
  void operator()(const char*, const Value&) {
    static_cast<void>(sizeof(RefusedFieldType<Value>));
  }

  template <class Value>
  void secret(const char* name, const Value& value) {
    (*this)(name, value);
  }
  template <class Value>
  void unsent(const char*, const Value&) {}
  template <class Value>
  void unsentSecret(const char*, const Value&) {}

 private:
  HudOutputStream& stream_;
};

// Stores each value as soon as it is read: when a read fails, the fields before it keep their new
// values. Allocates memory for what has arrived, not for what a count announces.
class PayloadReader {
 public:
  // The deepest nesting of records. A record type that can hold itself nests as deep as the frame
  // says.
  static constexpr int kMostNesting = 64;

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
  void operator()(const char*, std::same_as<std::uint16_t> auto& value) {
    value = static_cast<std::uint16_t>(stream_.readShort());
  }
  void operator()(const char*, std::same_as<std::uint32_t> auto& value) {
    value = static_cast<std::uint32_t>(stream_.readInt());
  }
  void operator()(const char*, std::same_as<std::uint64_t> auto& value) {
    value = static_cast<std::uint64_t>(stream_.readLong());
  }
  void operator()(const char*, std::same_as<float> auto& value) { value = stream_.readFloat(); }
  void operator()(const char*, std::same_as<double> auto& value) { value = stream_.readDouble(); }
  void operator()(const char*, std::same_as<HudString> auto& value) { stream_.readUTF(value); }
  void operator()(const char*, std::same_as<StringSet> auto& value) { readSet(value); }
  template <FieldEnumeration Enumeration>
  void operator()(const char* name, Enumeration& value) {
    std::underlying_type_t<Enumeration> integer{};
    (*this)(name, integer);
    value = static_cast<Enumeration>(integer);
  }
  template <FieldRecord Record>
  void operator()(const char*, Record& value) {
    if (++nesting_ > kMostNesting) throwNestedTooDeep();
    Record::fields(value, *this);
    --nesting_;
  }
  // Filled in place, since the application may hold it too; a null one is created first.
  template <FieldPointee Pointee>
  void operator()(const char* name, std::shared_ptr<Pointee>& value) {
    if (!value) value = std::make_shared<Pointee>();
    (*this)(name, *value);
  }
  // Emptied first. An element is appended once it was read completely.
  template <FieldType Element>
  void operator()(const char* name, std::vector<Element>& value) {
    value.clear();
    for (std::int32_t left = stream_.readInt(); left > 0; --left) {
      const std::uint64_t begin = stream_.offset();
      Element element{};
      (*this)(name, element);
      value.push_back(std::move(element));
      if (stream_.offset() == begin) throwElementWithoutBytes();
    }
  }
  template <class Value>
  void operator()(const char*, Value&) {
    static_cast<void>(sizeof(RefusedFieldType<Value>));
  }

  template <class Value>
  void secret(const char* name, Value& value) {
    (*this)(name, value);
  }
  template <class Value>
  void unsent(const char*, Value&) {}
  template <class Value>
  void unsentSecret(const char*, Value&) {}

  [[noreturn]] static void throwNestedTooDeep() {
    throw InvalidArgumentException("Records are nested too deep");
  }
  // Such a list would end only with its count, which may be two billion.
  [[noreturn]] static void throwElementWithoutBytes() {
    throw InvalidArgumentException("An element of a list has no bytes");
  }

 private:
  VARNO_EXPORT void readSet(StringSet& set);

  HudInputStream& stream_;
  int nesting_ = 0;
};

// Hands each field on to a visitor that does not know the packet's type.
template <bool kIsConst>
class FieldPresenter {
 public:
  using Visitor = std::conditional_t<kIsConst, FieldVisitor, FieldEditor>;

  // parent: the record whose fields these are; null for those of a packet.
  explicit FieldPresenter(Visitor& visitor, const FieldInfo* parent = nullptr)
      : visitor_(visitor), parent_(parent) {}

  template <class Value>
  void operator()(const char* name, Value& value) {
    present(infoOf(name, true, false), value);
  }
  template <class Value>
  void secret(const char* name, Value& value) {
    present(infoOf(name, true, true), value);
  }
  template <class Value>
  void unsent(const char* name, Value& value) {
    present(infoOf(name, false, false), value);
  }
  template <class Value>
  void unsentSecret(const char* name, Value& value) {
    present(infoOf(name, false, true), value);
  }

 private:
  FieldInfo infoOf(const char* name, bool isOnWire, bool isSecret) const {
    FieldInfo field{.name = name, .isOnWire = isOnWire, .isSecret = isSecret, .parent = parent_};
    if (parent_ != nullptr) {
      field.isOnWire &= parent_->isOnWire;
      field.isSecret |= parent_->isSecret;
    }
    return field;
  }

  template <class Value>
  void present(const FieldInfo& field, Value& value) {
    using Type = std::remove_const_t<Value>;
    if constexpr (FieldLeaf<Type>) {
      visitor_.visit(field, value);
    } else if constexpr (FieldEnumeration<Type>) {
      auto integer = static_cast<std::underlying_type_t<Type>>(value);
      visitor_.visit(field, integer);
      if constexpr (!kIsConst) value = static_cast<Type>(integer);
    } else if constexpr (FieldRecord<Type>) {
      visitor_.beginRecord(field, Type::kTypeName);
      FieldPresenter visit(visitor_, &field);
      Type::fields(value, visit);
      visitor_.endRecord();
    } else if constexpr (FieldType<Type>) {
      presentHolder(field, value);
    } else {
      static_cast<void>(sizeof(RefusedFieldType<Type>));
    }
  }

  template <class Pointee>
  void presentHolder(const FieldInfo& field, const std::shared_ptr<Pointee>& value) {
    if (value) return present(field, std::as_const(*value));
    FieldInfo absent = field;
    absent.isAbsent = true;
    const Pointee fresh{};
    present(absent, fresh);
  }
  template <class Pointee>
  void presentHolder(const FieldInfo& field, std::shared_ptr<Pointee>& value) {
    if (!value) value = std::make_shared<Pointee>();
    present(field, *value);
  }

  template <class Element>
  void presentHolder(const FieldInfo& field, const std::vector<Element>& list) {
    visitor_.beginList(field, list.size());
    FieldInfo at = field;
    at.parent = &field;
    at.index = 0;
    for (const Element& element : list) {
      present(at, element);
      ++at.index;
    }
    visitor_.endList();
  }
  // A new element is appended after it was visited, so a visit that throws leaves no half-filled
  // one.
  template <class Element>
  void presentHolder(const FieldInfo& field, std::vector<Element>& list) {
    std::size_t size = list.size();
    visitor_.beginList(field, size);
    if (size < list.size()) list.resize(size);
    FieldInfo at = field;
    at.parent = &field;
    for (at.index = 0; at.index < list.size() || visitor_.wantsElement(field, at.index);
         ++at.index) {
      if (at.index < list.size()) {
        presentElement(at, list[at.index]);
      } else {
        Element element{};
        present(at, element);
        list.push_back(std::move(element));
      }
    }
    visitor_.endList();
  }
  template <class Element>
  void presentElement(const FieldInfo& field, Element& element) {
    present(field, element);
  }
  void presentElement(const FieldInfo& field, std::vector<bool>::reference element) {
    bool value = element;
    present(field, value);
    element = value;
  }

  Visitor& visitor_;
  const FieldInfo* parent_;
};

}  // namespace varno
