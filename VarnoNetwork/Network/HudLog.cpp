#include <VarnoNetwork/Network/HudLog.h>
#include <VarnoNetwork/Network/Private/Printable.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <mutex>
#include <utility>

namespace varno {
namespace {

// Constant-initialized, so that logging allocates nothing on first use.
union SinkSlot {
  constexpr SinkSlot() noexcept : state() {}
  // Never destroyed: a thread may still log while static objects are destroyed.
  ~SinkSlot() {}  // NOLINT(modernize-use-equals-default): a union's would be deleted

  struct {
    std::mutex mutex;
    std::shared_ptr<const HudLog::Sink> sink;  // null for the default one
  } state;
};

constinit SinkSlot sinkSlot;

}  // namespace

void HudLog::setSink(Sink sink) {
  auto replacement = sink ? std::make_shared<const Sink>(std::move(sink)) : nullptr;
  {
    const std::lock_guard lock(sinkSlot.state.mutex);
    sinkSlot.state.sink.swap(replacement);
  }
  // The old sink is destroyed here, outside the lock: what it owns may log in its destructor.
}

void HudLog::write(std::string_view line) noexcept {
  try {
    std::shared_ptr<const Sink> sink;
    {
      const std::lock_guard lock(sinkSlot.state.mutex);
      sink = sinkSlot.state.sink;
    }
    sink ? (*sink)(line) : writeToStandardError(line);
  } catch (...) {
    // A failing log must not make its caller fail.
  }
}

void HudLog::writeToStandardError(std::string_view line) {
  const std::string text = printableLine(line) + '\n';
  // If standard error itself fails, nobody is left to tell.
  static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
}

std::string HudLog::printableLine(std::string_view line) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string printable;
  printable.reserve(line.size());
  while (!line.empty()) {
    std::size_t length = printableLength(line);
    if (length == 0) {
      const auto byte = static_cast<std::uint8_t>(line[0]);
      printable += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 0x0F]};
      length = 1;  // no other byte of the character is one by itself
    } else {
      if (line[0] == '\\') printable += '\\';
      printable.append(line.substr(0, length));
    }
    line.remove_prefix(length);
  }
  return printable;
}

}  // namespace varno
