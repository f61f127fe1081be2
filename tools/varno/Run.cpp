#include "tools/varno/Failure.h"
#include "tools/varno/FileBuffers.h"
#include "tools/varno/LinkArguments.h"
#include "tools/varno/LivePeer.h"
#include "tools/varno/Scenarios.h"
#include "tools/varno/Subcommand.h"
#include "tools/varno/WholeNumber.h"

#include <VarnoDisplay/ScenarioResult.h>
#include <VarnoLink/LinkWatch.h>

#include <memory>
#include <optional>
#include <ostream>
#include <string>

namespace varno::tool {
namespace {

struct RunArguments {
  std::string file;
  std::string address;
  std::string as;
  std::string junit;
  std::string record;
  std::string wait = "30s";
  std::optional<std::uint64_t> seed;
};

void writeReport(OutputFile& file, const std::string& name, const ScenarioResult& result) {
  std::ostream output(&file);
  output.exceptions(std::ios::badbit);
  writeJUnit(output, name, result);
  output.flush();
  file.close();
}

// Where nobody reads it any more, the status tells what came of it all the same.
void printVerdict(const std::string& text) {
  try {
    print(text);
  } catch (const ReaderIsGone&) {
  }
}

int run(const RunArguments& arguments) {
  const Address address = addressFrom(arguments.address);
  ScenarioOptions options;
  options.seed = arguments.seed;
  options.linkTimeout = durationFrom(arguments.wait, "--wait");
  if (!arguments.as.empty()) {
    options.role = arguments.as == "phone" ? ScenarioRole::kPhone : ScenarioRole::kDisplay;
  }
  refuseSameFile(arguments.file, arguments.record);
  refuseSameFile(arguments.file, arguments.junit);
  // A report of an earlier run goes first, so that it is not taken for one of this.
  std::optional<OutputFile> report;
  if (!arguments.junit.empty()) report.emplace(arguments.junit);
  refuseSameFile(arguments.junit, arguments.record, "the report");
  const std::optional<Scenario> scenario = scenarioIn(arguments.file);
  if (!scenario) {
    if (report) writeReport(*report, arguments.file, ScenarioResult());
    return kUnreadable;
  }
  const std::unique_ptr<CaptureRecorder> recorder = recorderFor(arguments.record);

  LinkLoop loop;
  std::string trouble;
  LivePeer::Handlers handlers;
  handlers.onReady = [hasToCome = address.isListening()](const Address& ready) {
    if (hasToCome) tell("ready " + ready.text());
  };
  handlers.onTrouble = [](const std::string& reason) { tell(shown(reason)); };
  handlers.onEnd = [&](const std::string& reason) {
    trouble = reason;
    loop.stop();
  };
  if (recorder != nullptr) {
    handlers.onRecord = [&](const TrafficRecord& record) { recorder->onRecord(record); };
  }
  const SignalWatch signals(loop, [&](int) {
    trouble = "interrupted";
    loop.stop();
  });
  const LinkTime begin = loop.clock().now();
  LivePeer peer(loop, address, *scenario, options, std::move(handlers));
  peer.start();
  loop.run();

  const ScenarioResult& result = peer.result();
  std::string text = verdictText(arguments.file, result, loop.clock().now() - begin);
  if (result.failure) text = result.failure->text() + "\n" + text;
  printVerdict(text);
  if (!trouble.empty()) tell(address.text() + ": " + shown(trouble));
  if (peer.refusedBytes() > 0) {
    tell(std::to_string(peer.refusedBytes()) + " bytes were not sent: the other side did not read");
  }
  const int recorded = closeRecorder(recorder.get(), arguments.record);
  if (report) writeReport(*report, arguments.file, result);
  return recorded == kSuccess ? codeOf(result.outcome) : recorded;
}

}  // namespace

Run defineRun(CLI::App& app) {
  const auto arguments = std::make_shared<RunArguments>();
  app.add_option("FILE", arguments->file, "The scenario; - is standard input")
      ->required()
      ->type_name("");
  app.add_option("ADDRESS", arguments->address,
                 "Where the application is, or is to come: tcp-listen://127.0.0.1:4711,\n"
                 "tcp://.., unix://.., unix-listen://.., serial://.. or pty://")
      ->required()
      ->type_name("");
  app.add_option("--as", arguments->as,
                 "The side that the scenario is; the display, if neither this nor the file tells")
      ->check(CLI::IsMember({"display", "phone"}))
      ->type_name("SIDE");
  app.add_option("--seed", arguments->seed, "Of the faults; before that of the file")
      ->check(wholeNumber())
      ->type_name("N");
  app.add_option("--wait", arguments->wait, "How long to wait for the link (30s)")->type_name("T");
  app.add_option("--junit", arguments->junit, "Write a case for each expectation, as CI reads it")
      ->type_name("FILE");
  app.add_option("--record", arguments->record,
                 "Write what passes into this file, in the format of its ending")
      ->type_name("FILE");
  return [arguments] { return run(*arguments); };
}

}  // namespace varno::tool
