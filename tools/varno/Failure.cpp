#include "tools/varno/Failure.h"

#include <VarnoNetwork/Network/HudLog.h>

#include <array>
#include <filesystem>
#include <iostream>
#include <system_error>

namespace varno::tool {

std::span<const ExitCodeText> exitCodes() {
  static constexpr std::array kTexts = {
      ExitCodeText{kSuccess, "All is well"},
      ExitCodeText{kUsage, "The command line is wrong"},
      ExitCodeText{kUnreadable, "An input, or a part of one, is not what it is to be"},
      ExitCodeText{kLink, "A link could not be had, or ended before its time"},
      ExitCodeText{kExpectation, "What came is not what was expected"},
      ExitCodeText{kSystem, "The output could not be written, or memory ran out"},
  };
  return kTexts;
}

void tell(const std::string& message) { std::cerr << "varno: " + message + "\n"; }

std::string counted(std::uint64_t count, std::string_view what) {
  return std::to_string(count).append(" ").append(what).append(count == 1 ? "" : "s");
}

void refuseSameFile(const std::string& other, const std::string& output, std::string_view what) {
  std::error_code ignored;
  if (output.empty() || output == "-" || !std::filesystem::equivalent(other, output, ignored))
    return;
  throw Failure(kUsage, "'" + shown(output) + "' is " + std::string(what) + ", too");
}

std::string shown(const std::string& text) { return HudLog::printableLine(text); }

}  // namespace varno::tool
