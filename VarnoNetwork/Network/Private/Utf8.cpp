#include <VarnoNetwork/Network/Private/ByteScan.h>
#include <VarnoNetwork/Network/Private/Utf8.h>

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

// A character has four bytes at most, so that the three before a byte tell all about its place.
constexpr std::size_t kBefore = 3;

// The same rules for one byte after those before it. Without a branch, so that compilers judge many
// bytes at once.
constexpr bool isWrong(std::uint8_t before3, std::uint8_t before2, std::uint8_t before1,
                       std::uint8_t byte) noexcept {
  const bool mustContinue = (before1 >= 0xC0) | (before2 >= 0xE0) | (before3 >= 0xF0);
  const bool isMisplaced = isContinuation(byte) != mustContinue;
  const bool isNever = ((byte & 0xFE) == 0xC0) | (byte >= 0xF5);
  const bool isOverlong = ((before1 == 0xE0) & (byte < 0xA0)) | ((before1 == 0xF0) & (byte < 0x90));
  const bool isSurrogate = (before1 == 0xED) & (byte >= 0xA0);
  const bool isTooHigh = (before1 == 0xF4) & (byte >= 0x90);
  return isMisplaced | isNever | isOverlong | isSurrogate | isTooHigh;
}

// Whether none of so many bytes is wrong. The three before them are read, too.
template <std::size_t kBytes>
bool isBlockRight(const std::uint8_t* block) noexcept {
  constexpr std::size_t kLanes = 16;
  std::uint8_t wrong[kLanes];
  for (std::size_t lane = 0; lane < kLanes; ++lane) {
    std::uint8_t wrongInLane = 0;
    for (std::size_t row = 0; row < kBytes / kLanes; ++row) {
      const std::uint8_t* byte = block + kLanes * row + lane;
      wrongInLane |= static_cast<std::uint8_t>(isWrong(byte[-3], byte[-2], byte[-1], byte[0]));
    }
    wrong[lane] = wrongInLane;
  }
  return (bytescan::loadWord(wrong) | bytescan::loadWord(wrong + bytescan::kWord)) == 0;
}

// How many bytes before the end of a right block belong to a character that goes on behind it.
constexpr std::size_t unfinished(const std::uint8_t* end) noexcept {
  if (end[-1] >= 0xC0) return 1;
  if (end[-2] >= 0xE0) return 2;
  return end[-3] >= 0xF0 ? 3 : 0;
}

}  // namespace

bool isValid(const std::uint8_t* bytes, std::size_t length) noexcept {
  constexpr std::size_t kBlock = 64;
  std::size_t at = 0;
  for (;;) {
    at += bytescan::runLength<bytescan::Ascii>(bytes + at, length - at);
    if (at == length) return true;
    // A single character beyond ASCII is judged by itself; where more follow, there are probably
    // many, and spaces between them.
    const std::size_t first = at;
    while (at < length && bytes[at] >= 0x80) {
      if (at >= first + kBefore && length - at >= kBlock) {
        if (!isBlockRight<kBlock>(bytes + at)) return false;
        at += kBlock;
        at -= unfinished(bytes + at);
      } else {
        const std::size_t character = multibyteLength(bytes + at, length - at);
        if (character == 0) return false;
        at += character;
      }
    }
  }
}

}  // namespace varno::utf8
