#include "DemoLog.h"

#include <VarnoNetwork/Network/HudLog.h>

#include <unistd.h>

#include <string>

namespace varno::example {
namespace {

constexpr std::size_t kNameWidth = 8;
constexpr std::size_t kLongestLine = 160;

// Cuts between characters: never before a byte that continues one.
std::string shortened(std::string line) {
  if (line.size() <= kLongestLine) return line;
  std::size_t end = kLongestLine;
  while ((static_cast<unsigned char>(line[end]) & 0xC0) == 0x80) --end;
  const std::string rest = std::to_string(line.size() - end);
  return line.substr(0, end) + "... (" + rest + " bytes more)";
}

}  // namespace

void logAs(std::string_view name) {
  std::string prefix(name);
  prefix.resize(kNameWidth, ' ');
  HudLog::setSink([prefix = prefix + "| "](std::string_view line) {
    // These lines contain what a peer sent, so nothing in them may control the terminal.
    const std::string text = prefix + shortened(HudLog::printableLine(line)) + '\n';
    // A log that nobody reads any more must not end the program.
    [[maybe_unused]] const ssize_t written = ::write(STDOUT_FILENO, text.data(), text.size());
  });
}

}  // namespace varno::example
