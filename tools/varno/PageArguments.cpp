#include "tools/varno/PageArguments.h"

#include "tools/varno/Types.h"
#include "tools/varno/WholeNumber.h"

#include <algorithm>

namespace varno::tool {
namespace {

constexpr const char* kGroup = "Page";

// As it stands in the page's address. What is wrong with it; empty where nothing is.
std::string tokenProblem(const std::string& token) {
  const bool isGood = !token.empty() && std::all_of(token.begin(), token.end(), [](char letter) {
    return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') ||
           (letter >= '0' && letter <= '9') || letter == '-' || letter == '_';
  });
  return isGood ? "" : "it is to be letters, digits, '-' and '_'";
}

}  // namespace

void PageArguments::defineOptional(CLI::App& app) {
  CLI::Option* const page =
      app.add_flag("--page", isWanted_, "Show it in a browser, too, and print the address to open")
          ->group(kGroup);
  define(app);
  // The token may be in the environment of every call.
  for (const char* const name : {"--page-host", "--page-port"}) app.get_option(name)->needs(page);
}

void PageArguments::define(CLI::App& app) {
  app.add_option("--page-host", host_,
                 "Where the page listens; others than 127.0.0.1 let other machines in")
      ->type_name("HOST")
      ->group(kGroup);
  app.add_option("--page-port", port_, "Its port; any where none is given")
      ->check(wholeNumber(0, 65535))
      ->type_name("PORT")
      ->group(kGroup);
  app.add_option("--page-token", token_,
                 "The secret part of its address, so that it is the same the next time")
      ->check(tokenProblem)
      ->type_name("TOKEN")
      ->envname("VARNO_PAGE_TOKEN")
      ->group(kGroup);
}

PageOptions PageArguments::options() const {
  PageOptions options;
  options.host = host_;
  options.port = port_;
  options.token = token_;
  options.types = typesJson();
  return options;
}

}  // namespace varno::tool
