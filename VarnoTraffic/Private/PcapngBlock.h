#pragma once

#include <VarnoTraffic/Private/Pcapng.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

// The parts of a pcapng block, in the byte order of its section.
namespace varno::pcapng {

using ByteSpan = std::span<const std::uint8_t>;

// The unsigned number that begins `at`. The bytes have to be there.
template <class Number>
Number numberAt(ByteSpan bytes, std::size_t at, bool isBigEndian) {
  std::uint64_t number = 0;
  for (std::size_t index = 0; index < sizeof(Number); ++index) {
    const std::size_t shift = 8 * (isBigEndian ? sizeof(Number) - 1 - index : index);
    number |= std::uint64_t{bytes[at + index]} << shift;
  }
  return static_cast<Number>(number);
}

// Walks over a block's options, up to the end of the bytes or what cannot be one.
class Options {
 public:
  Options(ByteSpan bytes, bool isBigEndian) : rest_(bytes), isBigEndian_(isBigEndian) {}

  struct Option {
    std::uint16_t code;
    ByteSpan value;
  };

  std::optional<Option> next() {
    if (rest_.size() < 4) return std::nullopt;
    const auto code = numberAt<std::uint16_t>(rest_, 0, isBigEndian_);
    const std::size_t length = numberAt<std::uint16_t>(rest_, 2, isBigEndian_);
    if (code == kEndOfOptions || padded(length) > rest_.size() - 4) return std::nullopt;
    const Option option{code, rest_.subspan(4, length)};
    rest_ = rest_.subspan(4 + padded(length));
    return option;
  }

 private:
  ByteSpan rest_;
  bool isBigEndian_;
};

// A packet block, whatever its type. Its bytes and options lie in the block.
struct Packet {
  std::size_t interface = 0;
  std::optional<std::uint64_t> time;  // in the interface's units
  ByteSpan bytes;
  std::uint32_t wireLength = 0;  // what passed, of which the bytes may be the front
  ByteSpan options;
};

// block: without the length at its end. snapLength: of the first interface; 0 for any. None where
// the lengths in it do not fit.
std::optional<Packet> packetIn(std::uint32_t type, ByteSpan block, bool isBigEndian,
                               std::uint32_t snapLength);

// How an interface's time stamps count.
struct TimeBase {
  std::uint8_t resolution = 6;  // as the option has it
  std::int64_t offset = 0;      // seconds

  // Nanoseconds since the epoch; the highest number for what lies beyond it.
  std::int64_t nanoseconds(std::uint64_t units) const;
};

}  // namespace varno::pcapng
