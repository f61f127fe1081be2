#include "tools/varno/Failure.h"
#include "tools/varno/FileBuffers.h"
#include "tools/varno/Formats.h"
#include "tools/varno/PageArguments.h"
#include "tools/varno/PageDisplay.h"
#include "tools/varno/RecordSource.h"
#include "tools/varno/Subcommand.h"
#include "tools/varno/WholeNumber.h"

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

namespace varno::tool {
namespace {

struct CaptureArguments {
  std::string file;
  std::string format;
  bool showsSecrets = false;
  std::size_t keep = PageOptions().maxRecords;
  PageArguments page;
};

// SIGINT and SIGTERM, which end the page, are taken where they are waited for. Before any other
// thread begins, as threads take over what is blocked.
class EndSignals {
 public:
  EndSignals() {
    ::sigemptyset(&signals_);
    ::sigaddset(&signals_, SIGINT);
    ::sigaddset(&signals_, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
  }

  void wait() const {
    int signal = 0;
    ::sigwait(&signals_, &signal);
  }

 private:
  sigset_t signals_{};
};

int run(const CaptureArguments& arguments) {
  const EndSignals signals;
  const auto format =
      arguments.format.empty() ? std::nullopt : std::optional(formatNamed(arguments.format));
  RecordSource source(arguments.file, format, nullptr);
  PageOptions options = arguments.page.options();
  options.title = std::filesystem::path(arguments.file).filename().string();
  options.secrets = arguments.showsSecrets ? Secrets::kShown : Secrets::kHidden;
  options.maxRecords = arguments.keep;
  PageServer page(options);
  print(page.address() + "\n");
  PageDisplay display(page);
  TrafficRecord record;
  std::atomic<int> status = kSuccess;
  // Reading may wait for ever, so the program ends whatever it is doing: it has nothing to lose.
  std::thread([&] {
    signals.wait();
    ::_exit(status);
  }).detach();
  while (source.next(record)) display.pass(record, page.add(record));
  if (!source.isWhole()) status = kUnreadable;
  for (;;) ::pause();
}

}  // namespace

Run definePage(CLI::App& app) {
  const auto arguments = std::make_shared<CaptureArguments>();
  app.add_option("FILE", arguments->file, "Any recorded traffic; - is standard input")
      ->required()
      ->type_name("");
  app.add_option("--from", arguments->format, "What the input is, if its first bytes mislead")
      ->check(CLI::IsMember(formatNames()))
      ->type_name("FORMAT");
  app.add_flag("--secrets", arguments->showsSecrets, "Show passwords and keys");
  app.add_option("--keep", arguments->keep, "How many of the last records the page has")
      ->check(wholeNumber(1, 1'000'000))
      ->capture_default_str()
      ->type_name("N");
  arguments->page.define(app);
  return [arguments] { return run(*arguments); };
}

}  // namespace varno::tool
