#pragma once

#include <VarnoNetwork/Network/FieldVisitor.h>
#include <tests/reference/ReferenceCodec.h>

#include <cstdint>
#include <string>
#include <type_traits>

// The values of forEachField on the wire, by the reference codec.
namespace varno::reference {

template <class Value>
void writeValue(OutputStream& stream, const Value& value) {
  if constexpr (std::is_same_v<Value, bool>) {
    stream.writeBoolean(value);
  } else if constexpr (std::is_same_v<Value, float>) {
    stream.writeFloat(value);
  } else if constexpr (std::is_same_v<Value, double>) {
    stream.writeDouble(value);
  } else if constexpr (std::is_same_v<Value, HudString>) {
    stream.writeUTF(value);
  } else if constexpr (std::is_same_v<Value, StringSet>) {
    stream.writeInt(static_cast<std::int32_t>(value.size()));
    for (const std::string& text : value) stream.writeUTF(text);
  } else if constexpr (sizeof value == 1) {
    stream.writeByte(value);
  } else if constexpr (sizeof value == 2) {
    stream.writeShort(static_cast<std::int16_t>(value));
  } else if constexpr (sizeof value == 4) {
    stream.writeInt(static_cast<std::int32_t>(value));
  } else {
    stream.writeLong(static_cast<std::int64_t>(value));
  }
}

template <class Value>
void readValue(InputStream& stream, Value& value) {
  if constexpr (std::is_same_v<Value, bool>) {
    value = stream.readBoolean();
  } else if constexpr (std::is_same_v<Value, float>) {
    value = stream.readFloat();
  } else if constexpr (std::is_same_v<Value, double>) {
    value = stream.readDouble();
  } else if constexpr (std::is_same_v<Value, HudString>) {
    value = stream.readUTF();
  } else if constexpr (std::is_same_v<Value, StringSet>) {
    value.clear();
    for (std::int32_t left = stream.readInt(); left > 0; --left) {
      const HudString text = stream.readUTF();
      if (!text) throw InvalidArgumentException("absent string in a set");
      value.insert(*text);
    }
  } else if constexpr (sizeof value == 1) {
    value = stream.readByte();
  } else if constexpr (sizeof value == 2) {
    value = static_cast<Value>(stream.readShort());
  } else if constexpr (sizeof value == 4) {
    value = static_cast<Value>(stream.readInt());
  } else {
    value = static_cast<Value>(stream.readLong());
  }
}

}  // namespace varno::reference
