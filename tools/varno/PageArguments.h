#pragma once

#include "tools/page/PageServer.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>

namespace varno::tool {

// What the command line of a subcommand with a page says of the page.
class PageArguments {
 public:
  // Gives the subcommand --page-host, --page-port and --page-token.
  void define(CLI::App& app);
  // The same, and --page, for a subcommand that does without a page, too.
  void defineOptional(CLI::App& app);

  bool isWanted() const { return isWanted_; }

  // The page's options, with the packet types.
  PageOptions options() const;

 private:
  bool isWanted_ = false;
  std::string host_ = "127.0.0.1";
  std::uint16_t port_ = 0;
  std::string token_;
};

}  // namespace varno::tool
