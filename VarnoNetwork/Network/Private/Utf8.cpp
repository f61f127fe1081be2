#include <VarnoNetwork/Network/Private/Bytes16.h>
#include <VarnoNetwork/Network/Private/Utf8.h>

namespace varno::utf8 {
namespace {

using bytes16::Bytes16;
using bytes16::flags;
using bytes16::Signed16;

constexpr std::size_t kBlock = 64;

// Sixteen bytes, each with the three bytes before it. A character has at most four bytes, so these
// decide whether a byte is in its right place.
struct Neighbors {
  Bytes16 byte;
  Bytes16 before1;
  Bytes16 before2;
  Bytes16 before3;
};

VARNO_ALWAYS_INLINE Neighbors loadAt(const std::uint8_t* bytes) noexcept {
  return {bytes16::load(bytes), bytes16::load(bytes - 1), bytes16::load(bytes - 2),
          bytes16::load(bytes - 3)};
}

// The first bytes of a text. Before them stands 0, which is no part of a longer character.
Neighbors atFront(Bytes16 byte) noexcept {
  const Bytes16 none = {};
  return {byte,
          __builtin_shufflevector(none, byte, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27,
                                  28, 29, 30),
          __builtin_shufflevector(none, byte, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26,
                                  27, 28, 29),
          __builtin_shufflevector(none, byte, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25,
                                  26, 27, 28)};
}

// With its high bit flipped, a byte compares signed as the original does unsigned. SSE2 has no
// unsigned comparison.
constexpr std::int8_t turned(std::uint8_t byte) noexcept {
  return static_cast<std::int8_t>(byte ^ 0x80);
}
VARNO_ALWAYS_INLINE Signed16 turned(Bytes16 block) noexcept {
  return reinterpret_cast<Signed16>(block ^ 0x80);
}

VARNO_ALWAYS_INLINE Bytes16 isContinuation(Bytes16 byte) noexcept {
  return flags(reinterpret_cast<Signed16>(byte) < static_cast<std::int8_t>(0xC0));
}

// Flags what is wrong in text without characters of four bytes and without the leads C0, C1 and E0,
// which have further rules.
VARNO_ALWAYS_INLINE Bytes16 wrongInCommonText(const Neighbors& of) noexcept {
  const Bytes16 mustContinue =
      flags(turned(of.before1) >= turned(0xC0)) | flags(turned(of.before2) >= turned(0xE0));
  // Compared signed, ASCII is above A0, too; but ASCII behind a lead is wrong anyway.
  const Bytes16 surrogate =
      flags(of.before1 == 0xED) & flags(reinterpret_cast<Signed16>(of.byte) >= std::int8_t{-0x60});
  return (mustContinue ^ isContinuation(of.byte)) | surrogate;
}

// Flags what is wrong in any text.
Bytes16 wrong(const Neighbors& of) noexcept {
  const Signed16 byte = turned(of.byte);
  const Bytes16 mustContinue = flags(turned(of.before1) >= turned(0xC0)) |
                               flags(turned(of.before2) >= turned(0xE0)) |
                               flags(turned(of.before3) >= turned(0xF0));
  const Bytes16 overlong = flags((of.before1 & 0xFE) == 0xC0) |
                           (flags(of.before1 == 0xE0) & flags(byte < turned(0xA0))) |
                           (flags(of.before1 == 0xF0) & flags(byte < turned(0x90)));
  const Bytes16 surrogate = flags(of.before1 == 0xED) & flags(byte >= turned(0xA0));
  const Bytes16 tooHigh =
      (flags(of.before1 == 0xF4) & flags(byte >= turned(0x90))) | flags(byte >= turned(0xF5));
  return (mustContinue ^ isContinuation(of.byte)) | overlong | surrogate | tooHigh;
}

bool isBlockRight(const std::uint8_t* block) noexcept {
  Bytes16 isWrong = {};
  Bytes16 isRare = {};
  Bytes16 high = bytes16::load(block - 3);  // a character of four bytes may have begun there
  for (std::size_t at = 0; at < kBlock; at += bytes16::kBytes) {
    const Neighbors of = loadAt(block + at);
    isWrong |= wrongInCommonText(of);
    isRare |=
        flags((of.before1 & 0xDE) == 0xC0);  // also E1: an exact test costs more than it gains
    high = bytes16::highest(high, of.byte);
  }
  isRare |= flags(turned(high) >= turned(0xF0));
  if (!bytes16::any(isRare)) return !bytes16::any(isWrong);

  isWrong = Bytes16{};
  for (std::size_t at = 0; at < kBlock; at += bytes16::kBytes) isWrong |= wrong(loadAt(block + at));
  return !bytes16::any(isWrong);
}

// Whether neither the block nor the three bytes before it hold anything beyond ASCII.
bool isAscii(const std::uint8_t* block) noexcept {
  using bytes16::load;
  const Bytes16 all = (load(block) | load(block + 16)) | (load(block + 32) | load(block + 48));
  return !bytes16::any((all | load(block - 3)) & 0x80);
}

// Whether the last character is incomplete.
bool isUnfinished(const std::uint8_t* end) noexcept {
  return end[-1] >= 0xC0 || end[-2] >= 0xE0 || end[-3] >= 0xF0;
}

}  // namespace

bool isValid(const std::uint8_t* bytes, std::size_t length) noexcept {
  // The 0 behind a short text is wrong after a character that is cut off.
  if (length < bytes16::kBytes)
    return !bytes16::any(wrong(atFront(bytes16::loadPart(bytes, length))));
  Bytes16 isWrong = wrong(atFront(bytes16::load(bytes)));
  std::size_t at = bytes16::kBytes;
  while (length - at >= kBlock) {
    if (isAscii(bytes + at)) {
      at += kBlock;
      continue;
    }
    // If one block is not ASCII, the next ones are probably not ASCII either.
    for (int blocks = 0; blocks < 4 && length - at >= kBlock; ++blocks, at += kBlock) {
      if (!isBlockRight(bytes + at)) return false;
    }
  }
  for (; length - at >= bytes16::kBytes; at += bytes16::kBytes)
    isWrong |= wrong(loadAt(bytes + at));
  if (at < length) {
    // The last sixteen bytes overlap those before. If fewer than three bytes stand before them, the
    // first three are ignored: they were checked already.
    const Bytes16 judged = {0,    0,    0,    0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                            0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    const std::uint8_t* last = bytes + length - bytes16::kBytes;
    isWrong |=
        last - bytes >= 3 ? wrong(loadAt(last)) : wrong(atFront(bytes16::load(last))) & judged;
  }
  return !bytes16::any(isWrong) && !isUnfinished(bytes + length);
}

}  // namespace varno::utf8
