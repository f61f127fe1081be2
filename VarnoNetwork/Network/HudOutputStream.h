#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoNetwork/Network/Wire.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace varno {

// A growable buffer of wire bytes (see Wire.h): everything that is written is stuffed, except by
// directWrite. Serves one frame; there is no rewind. The only failure is std::bad_alloc, which
// leaves a part of the field written. Used by one thread at a time.
class VARNO_EXPORT HudOutputStream {
 public:
  // Leaves the staging area uninitialized: filling it would cost more than writing a short frame.
  HudOutputStream() noexcept {}  // NOLINT(modernize-use-equals-default)
  HudOutputStream(const HudOutputStream&) = delete;
  HudOutputStream& operator=(const HudOutputStream&) = delete;
  ~HudOutputStream() = default;

  // The number of bytes held: after stuffing, marks included.
  std::int64_t size() const noexcept { return static_cast<std::int64_t>(heldBytes()); }

  // All bytes held. The first form copies and leaves the stream as it is; the second takes the
  // bytes out, without copying long content, and leaves the stream empty.
  std::vector<std::uint8_t> toNSData() const&;
  std::vector<std::uint8_t> toNSData() && {
    if (!spilled_.empty()) return takeSpilled();
    return {staging_, staging_ + std::exchange(staged_, 0)};
  }

  // All bytes held, in one piece. Valid until the next operation that is not const.
  std::span<const std::uint8_t> view() {
    if (spilled_.empty()) return {staging_, staged_};
    flush();
    return spilled_;
  }

  // Copies the first `length` bytes held, or as many as there are, to `buffer`.
  void toByteArray(std::uint8_t* buffer, std::uint64_t length) const noexcept;

  // Appends one byte as it is. For the frame's marks.
  void directWrite(std::uint8_t byte) {
    if (!fits(1)) flush();
    staging_[staged_++] = byte;
  }

  // Appends a frame's first mark and its three identifiers. If these are constants, the compiler
  // stores them as one word.
  void writeHead(std::uint8_t command, std::uint8_t param1, std::uint8_t param2) {
    if (!fits(7)) flush();
    std::uint8_t* const head = staging_ + staged_;
    head[0] = STX;
    std::size_t length = 1;
    length += stuffByte(head + length, command);
    length += stuffByte(head + length, param1);
    length += stuffByte(head + length, param2);
    staged_ += length;
  }

  // Each of these appends its value, stuffed.
  void write(const std::uint8_t* bytes, std::uint64_t length);
  void write(std::span<const std::uint8_t> bytes) { write(bytes.data(), bytes.size()); }
  void writeByte(std::uint8_t byte) {
    if (!fits(2)) flush();
    appendByte(byte);
  }
  void writeShort(std::int16_t value);
  void writeInt(std::int32_t value);
  void writeLong(std::int64_t value);
  void writeFloat(float value);
  void writeDouble(double value);
  void writeBoolean(bool value) { writeByte(value ? 0x01 : 0x00); }

  // Appends a string. Absent text, and text that is not valid UTF-8, goes out as an empty string.
  //
  // The count is the length modulo 65,536, and only that many bytes follow. HudInputStream reads a
  // count of 32,768 or more as negative and takes it for an empty string. Both are part of the
  // protocol.
  void writeUTF(std::optional<std::string_view> text) {
    writeText(text ? *text : std::string_view());
  }
  void writeUTF(std::nullptr_t) = delete;

 private:
  // A short frame stays in the staging area. For a longer one it collects small pieces, so that the
  // vector grows by large ones: growing a vector writes the new bytes twice.
  static constexpr std::size_t kStagingBytes = 1024;
  static constexpr std::size_t kStagingSlack = 16;  // for what is stored behind the last byte

  std::size_t heldBytes() const noexcept { return spilled_.size() + staged_; }
  // Whether the staging area has room for `length` bytes. length: at most kStagingBytes.
  bool fits(std::size_t length) const noexcept { return staged_ <= kStagingBytes - length; }

  // Appends one byte, stuffed. The staging area must have room for two.
  void appendByte(std::uint8_t byte) noexcept { staged_ += stuffByte(staging_ + staged_, byte); }

  void writeText(std::string_view text);
  void writeShortText(const std::uint8_t* bytes, std::size_t length);
  template <class Unsigned>
  VARNO_INTERNAL void writeBigEndian(Unsigned value);
  template <class Rule>
  VARNO_INTERNAL std::size_t stuffRun(const std::uint8_t* bytes, std::size_t length);
  void append(const std::uint8_t* bytes, std::size_t length);
  bool appendText(const std::uint8_t* bytes, std::size_t length);
  void expect(std::size_t length);
  void flush();
  std::vector<std::uint8_t> takeSpilled();
  void truncate(std::size_t held) noexcept;

  std::vector<std::uint8_t> spilled_;  // the bytes before the staged ones
  std::size_t staged_ = 0;
  std::uint8_t staging_[kStagingBytes + kStagingSlack];
};

}  // namespace varno
