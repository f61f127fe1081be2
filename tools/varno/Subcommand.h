#pragma once

#include <CLI/CLI.hpp>

#include <functional>
#include <span>
#include <string_view>

namespace varno::tool {

// What a subcommand does once the command line was read; returns the exit code, or throws Failure.
using Run = std::function<int()>;

struct Subcommand {
  std::string_view name;
  std::string_view summary;
  std::string_view examples;  // a line each
  // Gives the subcommand its options. What they fill lives in the Run.
  Run (*define)(CLI::App& app);
};

// In the order in which the help shows them.
std::span<const Subcommand> subcommands();

// A file for each.
Run defineTypes(CLI::App& app);
Run defineEncode(CLI::App& app);
Run defineDecode(CLI::App& app);
Run defineConvert(CLI::App& app);
Run defineRun(CLI::App& app);
Run definePhone(CLI::App& app);
Run definePage(CLI::App& app);
Run defineTap(CLI::App& app);
Run defineReplay(CLI::App& app);
Run defineDisplay(CLI::App& app);
Run defineSend(CLI::App& app);
Run defineListen(CLI::App& app);
Run defineWireshark(CLI::App& app);
Run defineCompletion(CLI::App& app);

// The manual page, from the help.
std::string manualPage(const CLI::App& app);

}  // namespace varno::tool
