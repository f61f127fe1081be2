#include <VarnoNetwork/Network/HudOutputStream.h>
#include <VarnoNetwork/Network/Private/Stuffing.h>
#include <VarnoNetwork/Network/Private/Utf8.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <utility>

namespace varno {

std::vector<std::uint8_t> HudOutputStream::toNSData() const& {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(heldBytes());
  bytes.insert(bytes.end(), spilled_.begin(), spilled_.end());
  bytes.insert(bytes.end(), staging_, staging_ + staged_);
  return bytes;
}

void HudOutputStream::toByteArray(std::uint8_t* buffer, std::uint64_t length) const noexcept {
  if (buffer == nullptr) return;
  const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(length, heldBytes()));
  const std::size_t fromSpilled = std::min(wanted, spilled_.size());
  std::copy_n(spilled_.data(), fromSpilled, buffer);
  std::copy_n(staging_, wanted - fromSpilled, buffer + fromSpilled);
}

void HudOutputStream::write(const std::uint8_t* bytes, std::uint64_t length) {
  if (bytes == nullptr) return;
  stuffRun<stuffing::Unescaped>(bytes, static_cast<std::size_t>(length));
}

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

void HudOutputStream::writeText(std::string_view text) {
  // The wire's bytes are the text's own; only their type differs.
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  const std::size_t length = text.size();
  if (length <= kStagingBytes / 4) return writeShortText(bytes, length);
  const std::size_t start = heldBytes();
  const auto count = static_cast<std::uint16_t>(length);  // modulo 65,536
  writeBigEndian(count);
  // Text that will be cut is checked whole: the part that is cut off may be what makes it invalid.
  const bool written = count == length ? appendText(bytes, length) : utf8::isValid(bytes, length);
  if (!written) {
    truncate(start);
    writeBigEndian(std::uint16_t{0});
  } else if (count != length) {
    write(bytes, count);
  }
}

// Writes text that fits into the staging area, however much of it is escaped.
void HudOutputStream::writeShortText(const std::uint8_t* bytes, std::size_t length) {
  const std::size_t mostBytes = 2 * (sizeof(std::uint16_t) + length) + 2 * stuffing::kBlock;
  if (!fits(mostBytes)) flush();
  const auto count = static_cast<std::uint16_t>(length);
  std::uint8_t* const text = staging_ + staged_ + sizeof count;
  if (!stuffing::hasEscapes(count) &&
      stuffing::copyPlain<stuffing::UnescapedAscii>(text, bytes, length)) {
    // Fast path: text that is ASCII and needs no escapes is copied at once.
    const std::uint16_t wire = bytes16::bigEndian(count);
    std::memcpy(staging_ + staged_, &wire, sizeof wire);
    staged_ += sizeof wire + length;
  } else if (utf8::isValid(bytes, length)) {
    writeBigEndian(count);
    staged_ += stuffing::stuffTo<stuffing::Unescaped>(staging_ + staged_, mostBytes, bytes, length)
                   .written;
  } else {
    writeBigEndian(std::uint16_t{0});
  }
}

template <class Unsigned>
void HudOutputStream::writeBigEndian(Unsigned value) {
  if (!fits(2 * sizeof value)) flush();
  // The unused high bytes of a narrower value are 0, which is not escaped.
  if (stuffing::hasEscapes(value)) {
    for (std::size_t left = sizeof value; left > 0; --left) {
      appendByte(static_cast<std::uint8_t>(value >> (8 * (left - 1))));
    }
    return;
  }
  const Unsigned wire = bytes16::bigEndian(value);
  std::memcpy(staging_ + staged_, &wire, sizeof wire);
  staged_ += sizeof wire;
}

void HudOutputStream::append(const std::uint8_t* bytes, std::size_t length) {
  if (length > kStagingBytes) {
    flush();
    spilled_.insert(spilled_.end(), bytes, bytes + length);
    return;
  }
  if (!fits(length)) flush();
  std::copy_n(bytes, length, staging_ + staged_);
  staged_ += length;
}

// Appends the bytes, stuffed. With stuffing::UnescapedAscii it stops before the first part that is
// not ASCII. Returns how many bytes it took.
template <class Rule>
std::size_t HudOutputStream::stuffRun(const std::uint8_t* bytes, std::size_t length) {
  constexpr std::size_t kAppended = 2048;
  expect(length);
  std::size_t at = 0;
  for (;;) {
    const auto [taken, written] = stuffing::stuffTo<Rule>(
        staging_ + staged_, kStagingBytes - staged_, bytes + at, length - at);
    staged_ += written;
    at += taken;
    if (at == length || fits(2 * stuffing::kBlock)) return at;
    flush();
    if (written > taken) continue;
    // What follows is probably plain, too. Copy it directly to its final place, in pieces that stay
    // in the processor's first cache.
    for (std::size_t run = kAppended; run == kAppended; at += run) {
      run = stuffing::plainBlocks<Rule>(bytes + at, std::min(length - at, kAppended));
      append(bytes + at, run);
    }
  }
}

// Appends the text, stuffed, and returns whether it is valid UTF-8. Invalid text may have been
// written in part.
bool HudOutputStream::appendText(const std::uint8_t* bytes, std::size_t length) {
  const std::size_t ascii = stuffRun<stuffing::UnescapedAscii>(bytes, length);
  if (ascii == length) return true;
  if (!utf8::isValid(bytes + ascii, length - ascii)) return false;
  stuffRun<stuffing::Unescaped>(bytes + ascii, length - ascii);
  return true;
}

// Reserves memory for `length` bytes that will not fit into the staging area, with some to spare
// for escapes and for what follows, so that a frame with one long text is allocated once.
void HudOutputStream::expect(std::size_t length) {
  // Stuffing into the staging area needs more room there than the result takes.
  constexpr std::size_t kSpare = 2 * stuffing::kBlock;
  if (length <= kStagingBytes - kSpare && fits(length + kSpare)) return;
  const std::size_t needed = heldBytes() + length + length / 8 + 64;
  if (needed > spilled_.capacity()) spilled_.reserve(std::max(needed, 2 * spilled_.capacity()));
}

void HudOutputStream::flush() {
  spilled_.insert(spilled_.end(), staging_, staging_ + staged_);
  staged_ = 0;
}

std::vector<std::uint8_t> HudOutputStream::takeSpilled() {
  flush();
  return std::exchange(spilled_, {});
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
