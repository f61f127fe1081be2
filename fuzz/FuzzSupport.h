#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <span>

// Called by libFuzzer with each input; the name is its own.
// NOLINTNEXTLINE(readability-identifier-naming)
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace varno::fuzz {

using ByteSpan = std::span<const std::uint8_t>;

// Ends the process where a promise is broken; libFuzzer then keeps the input.
inline void require(bool holds, const char* promise) {
  if (holds) return;
  std::cerr << "Broken: " << promise << '\n';
  std::abort();
}

// Takes an input apart from its front. What lies beyond its end reads as 0.
class Script {
 public:
  explicit Script(ByteSpan bytes) : rest_(bytes) {}

  bool isAtEnd() const { return rest_.empty(); }

  ByteSpan bytes(std::size_t atMost) {
    const ByteSpan taken = rest_.first(std::min(atMost, rest_.size()));
    rest_ = rest_.subspan(taken.size());
    return taken;
  }

  template <class Integer>
  Integer number() {
    std::uint64_t value = 0;
    for (const std::uint8_t byte : bytes(sizeof(Integer))) value = value << 8 | byte;
    return static_cast<Integer>(value);
  }

  std::uint8_t byte() { return number<std::uint8_t>(); }

  // A number below `bound`.
  std::size_t choice(std::size_t bound) { return byte() % bound; }

 private:
  ByteSpan rest_;
};

}  // namespace varno::fuzz
