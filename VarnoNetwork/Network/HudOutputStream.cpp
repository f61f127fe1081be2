#include <VarnoNetwork/Network/ByteScan.h>
#include <VarnoNetwork/Network/HudOutputStream.h>
#include <VarnoNetwork/Network/Utf8.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <utility>

namespace varno {
namespace {

constexpr bool mustEscape(std::uint8_t byte) noexcept {
  return byte == 0x02 || byte == 0x03 || byte == ESCAPE;
}

// Appends one byte, stuffed, at `end`, where there is room for two; returns the new end. Both
// stores happen for every byte, which spares a branch that payloads make hard to predict.
std::uint8_t* putStuffed(std::uint8_t* end, std::uint8_t byte) noexcept {
  const bool escape = mustEscape(byte);
  end[0] = ESCAPE;
  end[escape ? 1 : 0] = escape ? static_cast<std::uint8_t>(byte ^ ESCAPE) : byte;
  return end + (escape ? 2 : 1);
}

// Bytes that go out as they are.
struct Unescaped {
  static constexpr bool holds(std::uint8_t byte) noexcept { return !mustEscape(byte); }
  static constexpr bool holdsForWord(std::uint64_t word) noexcept {
    const std::uint64_t marks = (word | bytescan::everyByte(0x01)) ^ bytescan::everyByte(0x03);
    const std::uint64_t escapes = word ^ bytescan::everyByte(ESCAPE);
    return (zeroBytes(marks) | zeroBytes(escapes)) == 0;
  }
  static bool holdsForBlock(const std::uint8_t* bytes, std::size_t length) noexcept {
    std::uint8_t found = 0;
    for (std::size_t at = 0; at < length; ++at) {
      found = static_cast<std::uint8_t>(found | (mustEscape(bytes[at]) ? 1 : 0));
    }
    return found == 0;
  }

 private:
  // Not 0 where, and only where, a byte of the word is 0.
  static constexpr std::uint64_t zeroBytes(std::uint64_t word) noexcept {
    return (word - bytescan::everyByte(0x01)) & ~word & bytescan::everyByte(0x80);
  }
};

// ASCII bytes that go out as they are. (byte ^ 7D) - 1 lies below 7D for just these: for 02, 03, 7D
// and every byte beyond ASCII it does not, so that one range test tells all that needs care.
struct UnescapedAscii {
  static constexpr std::uint8_t rank(std::uint8_t byte) noexcept {
    return static_cast<std::uint8_t>((byte ^ ESCAPE) - 1);
  }
  static constexpr bool holds(std::uint8_t byte) noexcept { return rank(byte) < ESCAPE; }
  static constexpr bool holdsForWord(std::uint64_t word) noexcept {
    const std::uint64_t turned = word ^ bytescan::everyByte(ESCAPE);
    // High bits: of a byte 0 by the borrow, of 7E and 7F by the carry, of a byte beyond ASCII its
    // own.
    return (((turned - bytescan::everyByte(0x01)) | (turned + bytescan::everyByte(0x02)) | turned) &
            bytescan::everyByte(0x80)) == 0;
  }
  static bool holdsForBlock(const std::uint8_t* bytes, std::size_t length) noexcept {
    std::uint8_t highest = 0;
    for (std::size_t at = 0; at < length; ++at) highest = std::max(highest, rank(bytes[at]));
    return highest < ESCAPE;
  }
};

}  // namespace

std::vector<std::uint8_t> HudOutputStream::toNSData() const& {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(heldBytes());
  bytes.insert(bytes.end(), spilled_.begin(), spilled_.end());
  bytes.insert(bytes.end(), staging_, staging_ + staged_);
  return bytes;
}

std::vector<std::uint8_t> HudOutputStream::toNSData() && {
  if (spilled_.empty()) {
    std::vector<std::uint8_t> bytes(staging_, staging_ + staged_);
    staged_ = 0;
    return bytes;
  }
  flush();
  return std::exchange(spilled_, {});
}

void HudOutputStream::toByteArray(std::uint8_t* buffer, std::uint64_t length) const noexcept {
  if (buffer == nullptr) return;
  const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(length, heldBytes()));
  const std::size_t fromSpilled = std::min(wanted, spilled_.size());
  std::copy_n(spilled_.data(), fromSpilled, buffer);
  std::copy_n(staging_, wanted - fromSpilled, buffer + fromSpilled);
}

void HudOutputStream::directWrite(std::uint8_t byte) {
  if (stagingRoom() == 0) flush();
  staging_[staged_++] = byte;
}

void HudOutputStream::write(const std::uint8_t* bytes, std::uint64_t length) {
  if (bytes == nullptr) return;
  auto left = static_cast<std::size_t>(length);
  expect(left);
  for (;;) {
    const std::size_t run = bytescan::prefixLength<Unescaped>(bytes, left);
    append(bytes, run);
    if (run == left) return;
    writeByte(bytes[run]);
    bytes += run + 1;
    left -= run + 1;
  }
}

void HudOutputStream::writeByte(std::uint8_t byte) { writeBigEndian(byte); }

void HudOutputStream::writeShort(std::int16_t value) {
  writeBigEndian(static_cast<std::uint16_t>(value));
}

void HudOutputStream::writeInt(std::int32_t value) {
  writeBigEndian(static_cast<std::uint32_t>(value));
}

void HudOutputStream::writeLong(std::int64_t value) {
  writeBigEndian(static_cast<std::uint64_t>(value));
}

void HudOutputStream::writeFloat(float value) {
  static_assert(std::numeric_limits<float>::is_iec559);
  writeBigEndian(std::bit_cast<std::uint32_t>(value));
}

void HudOutputStream::writeDouble(double value) {
  static_assert(std::numeric_limits<double>::is_iec559);
  writeBigEndian(std::bit_cast<std::uint64_t>(value));
}

void HudOutputStream::writeBoolean(bool value) { writeByte(value ? 0x01 : 0x00); }

void HudOutputStream::writeUTF(std::optional<std::string_view> text) {
  // The wire's bytes are the text's own; only their type differs.
  const auto* bytes = text ? reinterpret_cast<const std::uint8_t*>(text->data()) : nullptr;
  const std::size_t length = text ? text->size() : 0;
  const std::size_t start = heldBytes();
  const auto count = static_cast<std::uint16_t>(length);  // modulo 65,536
  writeBigEndian(count);
  // Text that is cut is judged whole before: what is cut off could be what makes it invalid.
  const bool written = count == length ? appendText(bytes, length) : utf8::isValid(bytes, length);
  if (!written) {
    truncate(start);
    writeBigEndian(std::uint16_t{0});
  } else if (count != length) {
    write(bytes, count);
  }
}

template <class Unsigned>
void HudOutputStream::writeBigEndian(Unsigned value) {
  if (stagingRoom() < 2 * sizeof value) flush();
  std::uint8_t* end = staging_ + staged_;
  for (int shift = 8 * (static_cast<int>(sizeof value) - 1); shift >= 0; shift -= 8) {
    end = putStuffed(end, static_cast<std::uint8_t>(value >> shift));
  }
  staged_ = static_cast<std::size_t>(end - staging_);
}

void HudOutputStream::append(const std::uint8_t* bytes, std::size_t length) {
  if (length > stagingRoom()) {
    flush();
    if (length > kStagingBytes) {
      spilled_.insert(spilled_.end(), bytes, bytes + length);
      return;
    }
  }
  std::copy_n(bytes, length, staging_ + staged_);
  staged_ += length;
}

// Appends the text, stuffed, while it checks that it is valid UTF-8; says whether it is. Text that
// is not has then been written in part.
bool HudOutputStream::appendText(const std::uint8_t* bytes, std::size_t length) {
  // What is copied at once is still in the processor's first cache from the search before it.
  constexpr std::size_t kCopyBytes = 4096;
  expect(length);
  while (length > 0) {
    std::size_t run = bytescan::prefixLength<UnescapedAscii>(bytes, std::min(length, kCopyBytes));
    if (run == 0 && bytes[0] < 0x80) {
      writeByte(bytes[0]);
      run = 1;
    } else {
      if (run == 0) run = utf8::multibyteRunLength(bytes, length);
      if (run == 0) return false;
      append(bytes, run);
    }
    bytes += run;
    length -= run;
  }
  return true;
}

// Makes room for `length` bytes more than the staging area takes, with some to spare for escapes
// and for what follows, so that a frame with one long text is allocated once.
void HudOutputStream::expect(std::size_t length) {
  if (length <= stagingRoom()) return;
  const std::size_t needed = heldBytes() + length + length / 8 + 64;
  if (needed > spilled_.capacity()) spilled_.reserve(std::max(needed, 2 * spilled_.capacity()));
}

void HudOutputStream::flush() {
  spilled_.insert(spilled_.end(), staging_, staging_ + staged_);
  staged_ = 0;
}

void HudOutputStream::truncate(std::size_t held) noexcept {
  if (held >= spilled_.size()) {
    staged_ = held - spilled_.size();
  } else {
    spilled_.erase(spilled_.begin() + static_cast<std::ptrdiff_t>(held), spilled_.end());
    staged_ = 0;
  }
}

}  // namespace varno
