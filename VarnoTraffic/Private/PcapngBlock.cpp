#include <VarnoTraffic/Private/PcapngBlock.h>

#include <algorithm>
#include <limits>

namespace varno::pcapng {
namespace {

constexpr std::uint64_t kNanosPerSecond = 1'000'000'000;
constexpr auto kLatest = std::uint64_t{std::numeric_limits<std::int64_t>::max()};

std::uint64_t multiplied(std::uint64_t value, std::uint64_t factor) {
  return value > kLatest / factor ? kLatest : value * factor;
}

// Counted in parts of a second that are powers of two.
std::uint64_t fromBinary(std::uint64_t units, unsigned exponent) {
  const std::uint64_t seconds = exponent < 64 ? units >> exponent : 0;
  std::uint64_t fraction = exponent < 64 ? units - (seconds << exponent) : units;
  // Parts finer than a nanosecond make room for the product.
  constexpr unsigned kFinest = 32;
  if (exponent > kFinest) {
    const unsigned excess = exponent - kFinest;
    fraction = excess < 64 ? fraction >> excess : 0;
    exponent = kFinest;
  }
  const std::uint64_t nanos = (fraction * kNanosPerSecond) >> exponent;
  return std::min(multiplied(seconds, kNanosPerSecond) + nanos, kLatest);
}

std::uint64_t fromDecimal(std::uint64_t units, unsigned exponent) {
  for (; exponent < 9 && units < kLatest; ++exponent) units = multiplied(units, 10);
  for (; exponent > 9 && units > 0; --exponent) units /= 10;
  return std::min(units, kLatest);
}

}  // namespace

std::optional<Packet> packetIn(std::uint32_t type, ByteSpan block, bool isBigEndian,
                               std::uint32_t snapLength) {
  const auto number = [&](std::size_t at) {
    return numberAt<std::uint32_t>(block, at, isBigEndian);
  };
  Packet packet;
  if (type == kSimplePacket) {
    constexpr std::size_t kHeaderBytes = 12;
    if (block.size() < kHeaderBytes) return std::nullopt;
    packet.wireLength = number(8);
    std::size_t length = packet.wireLength;
    if (snapLength != 0) length = std::min<std::size_t>(length, snapLength);
    if (length > block.size() - kHeaderBytes) return std::nullopt;
    packet.bytes = block.subspan(kHeaderBytes, length);
    return packet;
  }
  constexpr std::size_t kHeaderBytes = 28;
  if (block.size() < kHeaderBytes) return std::nullopt;
  packet.interface =
      type == kEnhancedPacket ? number(8) : numberAt<std::uint16_t>(block, 8, isBigEndian);
  packet.time = std::uint64_t{number(12)} << 32 | number(16);
  const std::size_t length = number(20);
  packet.wireLength = number(24);
  const ByteSpan rest = block.subspan(kHeaderBytes);
  if (length > rest.size()) return std::nullopt;
  packet.bytes = rest.first(length);
  packet.options = rest.subspan(std::min(padded(length), rest.size()));
  return packet;
}

std::int64_t TimeBase::nanoseconds(std::uint64_t units) const {
  const unsigned exponent = resolution & 0x7F;
  const bool isBinary = (resolution & 0x80) != 0;
  const std::uint64_t nanos = isBinary ? fromBinary(units, exponent) : fromDecimal(units, exponent);
  const std::uint64_t distance =
      offset < 0 ? 0 - static_cast<std::uint64_t>(offset) : static_cast<std::uint64_t>(offset);
  const std::uint64_t shift = multiplied(distance, kNanosPerSecond);
  if (offset < 0) return static_cast<std::int64_t>(nanos) - static_cast<std::int64_t>(shift);
  return static_cast<std::int64_t>(std::min(nanos + shift, kLatest));
}

}  // namespace varno::pcapng
