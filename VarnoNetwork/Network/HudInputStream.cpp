#include <VarnoNetwork/Network/HudException.h>
#include <VarnoNetwork/Network/HudInputStream.h>
#include <VarnoNetwork/Network/HudOutputStream.h>
#include <VarnoNetwork/Network/Utf8.h>

#include <algorithm>
#include <bit>
#include <cstring>

namespace varno {
namespace {

[[noreturn]] void throwOutOfBounds() { throw IndexOutOfBoundsException(); }

// The length of the prefix without the escape mark.
std::size_t unmarkedLength(const std::uint8_t* bytes, std::size_t length) noexcept {
  if (length == 0) return 0;
  const void* mark = std::memchr(bytes, ESCAPE, length);
  if (mark == nullptr) return length;
  return static_cast<std::size_t>(static_cast<const std::uint8_t*>(mark) - bytes);
}

}  // namespace

HudInputStream::HudInputStream(std::span<const std::uint8_t> bytes)
    : HudInputStream(bytes.data(), bytes.size()) {}

HudInputStream::HudInputStream(const std::uint8_t* bytes, std::uint64_t length) {
  initWithBytes(bytes, length);
}

HudInputStream::HudInputStream(Borrowed, std::span<const std::uint8_t> bytes) noexcept
    : ptrBuffer_(bytes.data()), available_(bytes.size()) {}

HudInputStream HudInputStream::initWithNSData(std::span<const std::uint8_t> buffer) {
  return HudInputStream(buffer);
}

HudInputStream HudInputStream::borrowing(std::span<const std::uint8_t> bytes) noexcept {
  return {Borrowed(), bytes};
}

void HudInputStream::initWithBytes(const std::uint8_t* bytes, std::uint64_t length) {
  // A vector of its own first: `bytes` may lie in the one that it replaces.
  std::vector<std::uint8_t> copy;
  if (bytes != nullptr) copy.assign(bytes, bytes + length);
  internalBuffer_ = std::move(copy);
  ptrBuffer_ = internalBuffer_.data();
  offset_ = 0;
  available_ = internalBuffer_.size();
}

void HudInputStream::read(std::uint8_t* buffer, std::uint64_t length) {
  if (buffer == nullptr) return;
  while (length > 0) {
    const std::size_t run = unmarkedLength(
        ptrBuffer_ + offset_, static_cast<std::size_t>(std::min<std::uint64_t>(length, left())));
    std::copy_n(ptrBuffer_ + offset_, run, buffer);
    offset_ += run;
    buffer += run;
    length -= run;
    if (length > 0) {
      *buffer++ = readByte();
      --length;
    }
  }
}

std::uint8_t HudInputStream::directRead() {
  if (offset_ >= available_) throwOutOfBounds();
  return ptrBuffer_[offset_++];
}

std::uint8_t HudInputStream::readByte() {
  const std::uint8_t byte = directRead();
  return byte == ESCAPE ? static_cast<std::uint8_t>(directRead() ^ ESCAPE) : byte;
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

bool HudInputStream::readBoolean() { return readByte() != 0; }

HudString HudInputStream::readUTF() {
  const std::int16_t count = readShort();
  if (count <= 0) return std::string();

  const auto length = static_cast<std::size_t>(count);
  if (length > left()) {  // each byte takes one wire byte at least
    offset_ = available_;
    throwOutOfBounds();
  }
  HudString text;
  if (unmarkedLength(ptrBuffer_ + offset_, length) == length) {
    if (utf8::isValid(ptrBuffer_ + offset_, length)) {
      text.emplace(reinterpret_cast<const char*>(ptrBuffer_ + offset_), length);
    }
    offset_ += length;
  } else {
    text.emplace(length, '\0');
    auto* bytes = reinterpret_cast<std::uint8_t*>(text->data());
    read(bytes, length);
    if (!utf8::isValid(bytes, length)) text.reset();
  }
  return text;
}

template <class Unsigned>
Unsigned HudInputStream::readBigEndian() {
  constexpr std::size_t kBytes = sizeof(Unsigned);
  std::uint64_t value = 0;
  if (left() >= kBytes) {
    bool marked = false;
    for (std::size_t at = 0; at < kBytes; ++at) {
      const std::uint8_t byte = ptrBuffer_[offset_ + at];
      marked |= byte == ESCAPE;
      value = value << 8 | byte;
    }
    if (!marked) {
      offset_ += kBytes;
      return static_cast<Unsigned>(value);
    }
    value = 0;
  }
  for (std::size_t at = 0; at < kBytes; ++at) value = value << 8 | readByte();
  return static_cast<Unsigned>(value);
}

}  // namespace varno
