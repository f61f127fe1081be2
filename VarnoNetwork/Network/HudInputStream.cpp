#include <VarnoNetwork/Network/HudException.h>
#include <VarnoNetwork/Network/HudInputStream.h>
#include <VarnoNetwork/Network/Private/Bytes16.h>
#include <VarnoNetwork/Network/Private/Stuffing.h>
#include <VarnoNetwork/Network/Private/Utf8.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <string_view>
#include <utility>

namespace varno {
namespace {

// The length of the prefix without the escape mark.
std::size_t unmarkedLength(const std::uint8_t* bytes, std::size_t length) noexcept {
  if (length == 0) return 0;
  const void* mark = std::memchr(bytes, ESCAPE, length);
  if (mark == nullptr) return length;
  return static_cast<std::size_t>(static_cast<const std::uint8_t*>(mark) - bytes);
}

// Uses the memory of a string that is there again, where that is enough.
void assign(HudString& to, std::string_view text) {
  if (to && to->capacity() >= text.size()) {
    to->assign(text);
  } else {
    to = std::string(text);
  }
}

}  // namespace

HudInputStream::HudInputStream(std::span<const std::uint8_t> bytes)
    : HudInputStream(bytes.data(), bytes.size()) {}

HudInputStream::HudInputStream(const std::uint8_t* bytes, std::uint64_t length) {
  initWithBytes(bytes, length);
}

HudInputStream HudInputStream::initWithNSData(std::span<const std::uint8_t> buffer) {
  return HudInputStream(buffer);
}

void HudInputStream::initWithBytes(const std::uint8_t* bytes, std::uint64_t length) {
  // Copied before the old vector goes: `bytes` may lie in it.
  std::vector<std::uint8_t> copy;
  if (bytes != nullptr) copy.assign(bytes, bytes + length);
  internalBuffer_ = std::move(copy);
  ptrBuffer_ = internalBuffer_.data();
  offset_ = 0;
  available_ = internalBuffer_.size();
}

void HudInputStream::throwOutOfBounds() { throw IndexOutOfBoundsException(); }

void HudInputStream::read(std::uint8_t* buffer, std::uint64_t length) {
  if (buffer == nullptr) return;
  while (length > 0) {
    const std::size_t run =
        unmarkedLength(next(), static_cast<std::size_t>(std::min<std::uint64_t>(length, left())));
    std::copy_n(next(), run, buffer);
    offset_ += run;
    buffer += run;
    length -= run;
    if (length > 0) {
      *buffer++ = readByte();
      --length;
    }
  }
}

std::int16_t HudInputStream::readShort() {
  return static_cast<std::int16_t>(readBigEndian<std::uint16_t>());
}

std::int32_t HudInputStream::readInt() {
  return static_cast<std::int32_t>(readBigEndian<std::uint32_t>());
}

std::int64_t HudInputStream::readLong() {
  return static_cast<std::int64_t>(readBigEndian<std::uint64_t>());
}

float HudInputStream::readFloat() { return std::bit_cast<float>(readBigEndian<std::uint32_t>()); }

double HudInputStream::readDouble() {
  return std::bit_cast<double>(readBigEndian<std::uint64_t>());
}

HudString HudInputStream::readUTF() {
  HudString text;
  readUTF(text);
  return text;
}

void HudInputStream::readUTF(HudString& into) {
  const std::int16_t count = readShort();
  if (count <= 0) {
    assign(into, {});
    return;
  }
  const auto length = static_cast<std::size_t>(count);
  if (length > left()) {  // each byte takes one wire byte at least
    offset_ = available_;
    throwOutOfBounds();
  }
  // Fast path: unescaped text is copied at once. Otherwise unescape, then validate.
  const bool isPlainAscii = stuffing::arePlain<stuffing::UnescapedAscii>(next(), length);
  if (isPlainAscii || unmarkedLength(next(), length) == length) {
    if (isPlainAscii || utf8::isValid(next(), length)) {
      assign(into, {reinterpret_cast<const char*>(next()), length});
    } else {
      into.reset();
    }
    offset_ += length;
    return;
  }
  std::string text(length, '\0');
  auto* bytes = reinterpret_cast<std::uint8_t*>(text.data());
  const stuffing::Unstuffed part = stuffing::unstuffTo(bytes, length, next(), left());
  offset_ += part.taken;
  read(bytes + part.written, length - part.written);
  const std::size_t judged = part.isAscii ? part.written : 0;
  if (utf8::isValid(bytes + judged, length - judged)) {
    into = std::move(text);
  } else {
    into.reset();
  }
}

template <class Unsigned>
Unsigned HudInputStream::readBigEndian() {
  if (left() >= sizeof(Unsigned)) {
    Unsigned wire = 0;
    std::memcpy(&wire, next(), sizeof wire);
    // The unused high bytes of a narrower value are 0, which is not a mark.
    if (!stuffing::hasMark(wire)) {
      offset_ += sizeof wire;
      return bytes16::bigEndian(wire);
    }
  }
  std::uint64_t value = 0;
  for (std::size_t at = 0; at < sizeof(Unsigned); ++at) value = value << 8 | readByte();
  return static_cast<Unsigned>(value);
}

}  // namespace varno
