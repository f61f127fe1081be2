#include <VarnoNetwork/Network/HudLog.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <mutex>
#include <utility>

namespace varno {
namespace {

struct SinkSlot {
  std::mutex mutex;
  std::shared_ptr<const HudLog::Sink> sink =
      std::make_shared<HudLog::Sink>(HudLog::writeToStandardError);
};

// Never destroyed: a thread may still log while the program's static objects go.
SinkSlot& sinkSlot() {
  static SinkSlot& slot = *new SinkSlot;
  return slot;
}

// The number of bytes at the front of `text` that must not reach a terminal as they are.
std::size_t controlLength(std::string_view text) {
  const auto byte = [text](std::size_t index) {
    return index < text.size() ? static_cast<std::uint8_t>(text[index]) : std::uint8_t{0};
  };
  if (byte(0) < 0x20 || byte(0) == 0x7F) return 1;
  if (byte(0) >= 0x80 && byte(0) < 0xC0) return 1;  // no character: an 8-bit terminal's control
  if (byte(0) == 0xC2 && byte(1) >= 0x80 && byte(1) < 0xA0) return 2;  // U+0080 to U+009F
  if (byte(0) == 0xE2 && byte(1) == 0x80 && byte(2) >= 0xA8 && byte(2) <= 0xAE) {
    return 3;  // U+2028 to U+202E: line and paragraph separators, directional overrides
  }
  if (byte(0) == 0xE2 && byte(1) == 0x81 && byte(2) >= 0xA6 && byte(2) <= 0xA9) {
    return 3;  // U+2066 to U+2069: directional isolates
  }
  return 0;
}

// The number of bytes of the character at the front of `text`, as its first byte announces it.
std::size_t characterLength(std::string_view text) {
  const auto first = static_cast<std::uint8_t>(text[0]);
  const std::size_t announced = first < 0xC0 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  std::size_t length = 1;
  while (length < announced && length < text.size() &&
         (static_cast<std::uint8_t>(text[length]) & 0xC0) == 0x80) {
    ++length;
  }
  return length;
}

}  // namespace

void HudLog::setSink(Sink sink) {
  auto replacement =
      std::make_shared<const Sink>(sink ? std::move(sink) : Sink(writeToStandardError));
  SinkSlot& slot = sinkSlot();
  {
    const std::lock_guard lock(slot.mutex);
    slot.sink.swap(replacement);
  }
  // The old sink goes here, outside the lock: what it owns may log while it is destroyed.
}

void HudLog::write(std::string_view line) noexcept {
  try {
    std::shared_ptr<const Sink> sink;
    {
      SinkSlot& slot = sinkSlot();
      const std::lock_guard lock(slot.mutex);
      sink = slot.sink;
    }
    (*sink)(line);
  } catch (...) {
    // A log that fails must not fail what it tells about.
  }
}

void HudLog::writeToStandardError(std::string_view line) {
  const std::string text = printableLine(line) + '\n';
  // Where standard error itself fails there is nobody left to tell.
  static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
}

std::string HudLog::printableLine(std::string_view line) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string printable;
  printable.reserve(line.size());
  while (!line.empty()) {
    std::size_t length = controlLength(line);
    if (length == 0) {
      length = characterLength(line);
      printable.append(line.substr(0, length));
    } else {
      for (const char control : line.substr(0, length)) {
        const auto byte = static_cast<std::uint8_t>(control);
        printable += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 0x0F]};
      }
    }
    line.remove_prefix(length);
  }
  return printable;
}

}  // namespace varno
