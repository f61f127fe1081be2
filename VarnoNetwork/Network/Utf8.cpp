#include <VarnoNetwork/Network/ByteScan.h>
#include <VarnoNetwork/Network/Utf8.h>

namespace varno::utf8 {
namespace {

constexpr bool isContinuation(std::uint8_t byte) noexcept { return (byte & 0xC0) == 0x80; }

// The length of the well-formed character at the front of the bytes, which begin with a byte
// beyond ASCII; 0 where there is none.
std::size_t multibyteLength(const std::uint8_t* bytes, std::size_t length) noexcept {
  const std::uint8_t lead = bytes[0];
  if (lead < 0xC2 || lead > 0xF4) return 0;  // a stray continuation, overlong, above U+10FFFF
  if (length < 2) return 0;
  if (lead < 0xE0) return isContinuation(bytes[1]) ? 2 : 0;
  if (length < 3 || !isContinuation(bytes[2])) return 0;

  // The second byte's range excludes overlong forms (E0, F0), surrogates (ED) and what lies above
  // U+10FFFF (F4).
  const std::uint8_t low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const std::uint8_t high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  if (bytes[1] < low || bytes[1] > high) return 0;
  if (lead < 0xF0) return 3;
  return length >= 4 && isContinuation(bytes[3]) ? 4 : 0;
}

}  // namespace

std::size_t multibyteRunLength(const std::uint8_t* bytes, std::size_t length) noexcept {
  std::size_t at = 0;
  while (at < length && bytes[at] >= 0x80) {
    const std::size_t character = multibyteLength(bytes + at, length - at);
    if (character == 0) break;
    at += character;
  }
  return at;
}

bool isValid(const std::uint8_t* bytes, std::size_t length) noexcept {
  std::size_t at = 0;
  for (;;) {
    at += bytescan::runLength<bytescan::Ascii>(bytes + at, length - at);
    if (at == length) return true;
    const std::size_t run = multibyteRunLength(bytes + at, length - at);
    if (run == 0) return false;
    at += run;
  }
}

}  // namespace varno::utf8
