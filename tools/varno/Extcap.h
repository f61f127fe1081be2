#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

namespace varno::tool {

// Wireshark's live sources. Wireshark and tshark run every program in their folder for such sources
// and ask it what there is, and then for a capture:
//
//   varno --extcap-interfaces
//   varno --extcap-interface varno-tap --extcap-config
//   varno --extcap-interface varno-tap --capture --fifo PIPE --phone-side ... --display-side ...
//
// Each source is a subcommand that takes --extcap PIPE.

// Whether a command line comes from there.
bool isExtcap(std::span<const char* const> arguments);

// Answers on standard output, or has the subcommand run by its own command line. Throws Failure for
// what Wireshark does not say. arguments: without the program's name.
using RunLine = std::function<int(const std::vector<std::string>& arguments)>;
int runExtcap(std::span<const char* const> arguments, const RunLine& runLine);

}  // namespace varno::tool
