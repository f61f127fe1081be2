#pragma once

#include <VarnoNetwork/Network/HudException.h>
#include <VarnoNetwork/Network/HudOutputStream.h>
#include <VarnoNetwork/Network/HudString.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// The streams written in the plainest way: every byte is written by one call of writeByte and read
// by one call of readByte, which are not inlined. The tests compare the library's streams with
// these; the benchmarks measure the gain over them.
namespace varno::reference {

// Strict UTF-8, one character after the other: the value is assembled, then checked.
inline bool isUtf8(std::string_view text) {
  constexpr char32_t kSmallestOfLength[] = {0, 0, 0x80, 0x800, 0x10000};
  for (std::size_t at = 0; at < text.size();) {
    const auto lead = static_cast<std::uint8_t>(text[at]);
    std::size_t length = 0;
    char32_t value = 0;
    if (lead < 0x80) {
      length = 1;
      value = lead;
    } else if ((lead & 0xE0) == 0xC0) {
      length = 2;
      value = lead & 0x1F;
    } else if ((lead & 0xF0) == 0xE0) {
      length = 3;
      value = lead & 0x0F;
    } else if ((lead & 0xF8) == 0xF0) {
      length = 4;
      value = lead & 0x07;
    } else {
      return false;
    }
    if (length > text.size() - at) return false;
    for (std::size_t next = 1; next < length; ++next) {
      const auto byte = static_cast<std::uint8_t>(text[at + next]);
      if ((byte & 0xC0) != 0x80) return false;
      value = value << 6 | (byte & 0x3F);
    }
    const bool isOverlong = value < kSmallestOfLength[length];
    const bool isSurrogate = value >= 0xD800 && value <= 0xDFFF;
    if (isOverlong || isSurrogate || value > 0x10FFFF) return false;
    at += length;
  }
  return true;
}

class OutputStream {
 public:
  std::int64_t size() const { return static_cast<std::int64_t>(internalBuffer_.size()); }
  std::vector<std::uint8_t> toNSData() const { return internalBuffer_; }
  void toByteArray(std::uint8_t* buffer, std::uint64_t length) const {
    for (std::size_t at = 0; at < length && at < internalBuffer_.size(); ++at) {
      buffer[at] = internalBuffer_[at];
    }
  }

  void directWrite(std::uint8_t byte) { internalBuffer_.push_back(byte); }

  [[gnu::noinline]] void writeByte(std::uint8_t byte) {
    if (byte == 0x02 || byte == 0x03 || byte == ESCAPE) {
      internalBuffer_.push_back(ESCAPE);
      internalBuffer_.push_back(static_cast<std::uint8_t>(byte ^ ESCAPE));
    } else {
      internalBuffer_.push_back(byte);
    }
  }

  void write(const std::uint8_t* bytes, std::uint64_t length) {
    for (std::uint64_t at = 0; at < length; ++at) writeByte(bytes[at]);
  }

  void writeShort(std::int16_t value) { writeBigEndian(static_cast<std::uint16_t>(value)); }
  void writeInt(std::int32_t value) { writeBigEndian(static_cast<std::uint32_t>(value)); }
  void writeLong(std::int64_t value) { writeBigEndian(static_cast<std::uint64_t>(value)); }
  void writeFloat(float value) { writeBigEndian(std::bit_cast<std::uint32_t>(value)); }
  void writeDouble(double value) { writeBigEndian(std::bit_cast<std::uint64_t>(value)); }
  void writeBoolean(bool value) { writeByte(value ? 0x01 : 0x00); }

  void writeUTF(std::optional<std::string_view> text) {
    if (!text || !isUtf8(*text)) return writeShort(0);
    const auto count = static_cast<std::uint16_t>(text->size() % 65536);
    writeShort(static_cast<std::int16_t>(count));
    for (std::size_t at = 0; at < count; ++at) writeByte(static_cast<std::uint8_t>((*text)[at]));
  }

 private:
  template <class Unsigned>
  void writeBigEndian(Unsigned value) {
    for (std::size_t left = sizeof value; left > 0; --left) {
      writeByte(static_cast<std::uint8_t>(value >> (8 * (left - 1))));
    }
  }

  std::vector<std::uint8_t> internalBuffer_;
};

class InputStream {
 public:
  explicit InputStream(std::span<const std::uint8_t> bytes)
      : internalBuffer_(bytes.begin(), bytes.end()) {}

  std::int64_t available() const { return static_cast<std::int64_t>(internalBuffer_.size()); }
  std::uint64_t offset() const { return offset_; }

  void read(std::uint8_t* buffer, std::uint64_t length) {
    for (std::uint64_t at = 0; at < length; ++at) buffer[at] = readByte();
  }

  std::uint8_t directRead() {
    if (offset_ >= internalBuffer_.size()) throw IndexOutOfBoundsException();
    return internalBuffer_[offset_++];
  }

  [[gnu::noinline]] std::uint8_t readByte() {
    const std::uint8_t byte = directRead();
    return byte == ESCAPE ? static_cast<std::uint8_t>(directRead() ^ ESCAPE) : byte;
  }

  std::int16_t readShort() { return static_cast<std::int16_t>(readBigEndian<std::uint16_t>()); }
  std::int32_t readInt() { return static_cast<std::int32_t>(readBigEndian<std::uint32_t>()); }
  std::int64_t readLong() { return static_cast<std::int64_t>(readBigEndian<std::uint64_t>()); }
  float readFloat() { return std::bit_cast<float>(readBigEndian<std::uint32_t>()); }
  double readDouble() { return std::bit_cast<double>(readBigEndian<std::uint64_t>()); }
  bool readBoolean() { return readByte() != 0; }

  HudString readUTF() {
    const std::int16_t count = readShort();
    std::string text;
    for (std::int16_t at = 0; at < count; ++at) text.push_back(static_cast<char>(readByte()));
    if (!isUtf8(text)) return std::nullopt;
    return text;
  }

 private:
  template <class Unsigned>
  Unsigned readBigEndian() {
    std::uint64_t value = 0;
    for (std::size_t at = 0; at < sizeof(Unsigned); ++at) value = value << 8 | readByte();
    return static_cast<Unsigned>(value);
  }

  std::vector<std::uint8_t> internalBuffer_;
  std::size_t offset_ = 0;
};

}  // namespace varno::reference
