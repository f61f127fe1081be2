#include "tools/varno/Extcap.h"
#include "tools/varno/Failure.h"
#include "tools/varno/FileBuffers.h"
#include "tools/varno/Subcommand.h"

#include <VarnoNetwork/Network/HudLog.h>
#include <VarnoNetwork/Version.h>

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <iostream>
#include <map>
#include <new>
#include <span>
#include <string>
#include <vector>

namespace varno::tool {
namespace {

constexpr std::string_view kAbout = "Packets between a phone and a head-up display.";

std::string exitCodesText() {
  std::string text = "Exit status:\n";
  for (const ExitCodeText& code : exitCodes()) {
    text += "  " + std::to_string(code.code) + "  " + std::string(code.meaning) + "\n";
  }
  return text;
}

std::string versionText() {
  return "varno " + std::to_string(VARNO_NETWORK_VERSION_MAJOR) + "." +
         std::to_string(VARNO_NETWORK_VERSION_MINOR) + "." +
         std::to_string(VARNO_NETWORK_VERSION_PATCH);
}

std::string examplesText(const Subcommand& subcommand) {
  std::string text = "Examples:\n";
  std::string_view rest = subcommand.examples;
  while (!rest.empty()) {
    const std::size_t end = rest.find('\n') + 1;
    text.append("  ").append(rest.substr(0, end));
    rest.remove_prefix(end);
  }
  return text;
}

int parseAndRun(int argc, const char* const* argv) {
  CLI::App app{std::string(kAbout), "varno"};
  app.footer("`varno SUBCOMMAND --help` has examples, `varno --man` prints the manual page.\n\n" +
             exitCodesText());
  app.set_version_flag("--version", versionText());
  bool wantsManual = false;
  app.add_flag("--man", wantsManual, "Print the manual page")->group("");
  app.get_formatter()->column_width(32);
  std::map<const CLI::App*, Run> runs;
  for (const Subcommand& subcommand : subcommands()) {
    CLI::App* const sub =
        app.add_subcommand(std::string(subcommand.name), std::string(subcommand.summary));
    sub->footer(examplesText(subcommand));
    runs[sub] = subcommand.define(*sub);
  }
  app.require_subcommand(0, 1);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    std::ostringstream text;
    if (app.exit(error, text, text) == 0) {
      print(text.str());  // what was asked for: the help, or the version
      return kSuccess;
    }
    throw Failure(kUsage, shown(error.what()) + "; --help tells more");
  }
  if (wantsManual) {
    print(manualPage(app));
    return kSuccess;
  }
  const auto chosen = app.get_subcommands();
  if (chosen.empty()) {
    std::cerr << app.help();
    return kUsage;
  }
  return runs.at(chosen.front())();
}

int runLine(const std::vector<std::string>& arguments) {
  std::vector<const char*> argv = {"varno"};
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  return parseAndRun(static_cast<int>(argv.size()), argv.data());
}

// A standard stream that is closed at the beginning is one that ends at once, or that cannot be
// written. Otherwise a file or a link would get its number, and with it what is printed.
void takeClosedStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    if (::fcntl(stream, F_GETFD) >= 0) continue;
    static_cast<void>(::open("/dev/null", O_RDONLY));  // gets the lowest number that is free
  }
}

int run(int argc, const char* const* argv) {
  try {
    const std::span arguments(argv, static_cast<std::size_t>(argc));
    if (argc > 1 && isExtcap(arguments.subspan(1))) return runExtcap(arguments.subspan(1), runLine);
    return parseAndRun(argc, argv);
  } catch (const ReaderIsGone&) {
    return kSuccess;
  } catch (const Failure& failure) {
    tell(failure.what());
    return failure.code();
  } catch (const std::bad_alloc&) {
    tell("out of memory");
  } catch (const std::exception& exception) {
    tell(exception.what());
  }
  return kSystem;
}

}  // namespace
}  // namespace varno::tool

int main(int argc, char** argv) {
  // A pipe that nobody reads is told by the write to it.
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  varno::tool::takeClosedStreams();
  // What the library would log of a frame, the output says of it.
  varno::HudLog::setSink([](std::string_view) {});
  return varno::tool::run(argc, argv);
}
