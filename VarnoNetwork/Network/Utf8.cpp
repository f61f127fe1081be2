#include <VarnoNetwork/Network/ByteScan.h>
#include <VarnoNetwork/Network/Utf8.h>

#include <algorithm>
#include <iterator>

namespace varno::utf8 {
namespace {

// A character has four bytes at most, so that the three before a byte tell all about its place.
constexpr std::size_t kBefore = 3;
constexpr std::size_t kBlock = 64;

// Whether a byte is wrong after the three before it, the last of which is `before1`. Without a
// branch, so that compilers judge many bytes at once. A character cut off at the end makes what
// follows it wrong, and only that.
constexpr bool isWrong(std::uint8_t before3, std::uint8_t before2, std::uint8_t before1,
                       std::uint8_t byte) noexcept {
  const bool isContinuation = (byte & 0xC0) == 0x80;
  const bool mustContinue = (before1 >= 0xC0) | (before2 >= 0xE0) | (before3 >= 0xF0);
  const bool isNever = ((byte & 0xFE) == 0xC0) | (byte >= 0xF5);  // overlong, above U+10FFFF
  const bool isOverlong = ((before1 == 0xE0) & (byte < 0xA0)) | ((before1 == 0xF0) & (byte < 0x90));
  const bool isSurrogate = (before1 == 0xED) & (byte >= 0xA0);
  const bool isTooHigh = (before1 == 0xF4) & (byte >= 0x90);
  return (isContinuation != mustContinue) | isNever | isOverlong | isSurrogate | isTooHigh;
}

// Whether none of a block's bytes is wrong. The three before them are read, too.
bool isBlockRight(const std::uint8_t* block) noexcept {
  constexpr std::size_t kLanes = 16;
  std::uint8_t wrong[kLanes];
  for (std::size_t lane = 0; lane < kLanes; ++lane) {
    std::uint8_t wrongInLane = 0;
    for (std::size_t row = 0; row < kBlock / kLanes; ++row) {
      const std::uint8_t* byte = block + kLanes * row + lane;
      wrongInLane |= static_cast<std::uint8_t>(isWrong(byte[-3], byte[-2], byte[-1], byte[0]));
    }
    wrong[lane] = wrongInLane;
  }
  return (bytescan::loadWord(wrong) | bytescan::loadWord(wrong + bytescan::kWord)) == 0;
}

}  // namespace

bool isValid(const std::uint8_t* bytes, std::size_t length) noexcept {
  std::size_t at = bytescan::runLength<bytescan::Ascii>(bytes, length);
  if (at == length) return true;
  // The first and the last block are judged between bytes of value 0.
  std::uint8_t padded[kBefore + kBlock] = {};
  std::copy_n(bytes + at, std::min(length - at, kBlock), padded + kBefore);
  if (!isBlockRight(padded + kBefore)) return false;
  if (length - at < kBlock) return true;
  for (at += kBlock; length - at >= kBlock; at += kBlock) {
    if (!isBlockRight(bytes + at)) return false;
  }
  std::fill(std::begin(padded), std::end(padded), std::uint8_t{0});
  std::copy_n(bytes + at - kBefore, length - at + kBefore, padded);
  return isBlockRight(padded + kBefore);
}

}  // namespace varno::utf8
