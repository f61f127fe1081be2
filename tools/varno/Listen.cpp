#include "tools/varno/Failure.h"
#include "tools/varno/LinkArguments.h"
#include "tools/varno/LiveLink.h"
#include "tools/varno/LiveOutput.h"
#include "tools/varno/Subcommand.h"

#include <VarnoLink/LinkWatch.h>

#include <memory>
#include <optional>
#include <string>

namespace varno::tool {
namespace {

struct ListenArguments {
  std::string address;
  std::string role = "phone";
  std::string record;
  std::string extcap;
  bool json = false;
  bool isQuiet = false;
  bool showsSecrets = false;
};

int run(const ListenArguments& arguments) {
  const Address address = addressFrom(arguments.address);
  const Direction received =
      arguments.role == "phone" ? Direction::kToPhone : Direction::kToDisplay;

  LinkLoop loop;
  const auto recorder = recorderFor(
      arguments.record, {.secrets = arguments.showsSecrets ? Secrets::kShown : Secrets::kHidden});
  // Whoever reads the live capture ends this program by going.
  const auto live = recorderFor(
      arguments.extcap,
      {.format = CaptureFormat::kPcapng, .onFailure = [&](const std::string&) { loop.stop(); }});
  std::optional<LiveOutput> output;
  if (!arguments.isQuiet && arguments.extcap.empty()) {
    DecodeOutput::Options options;
    options.form = arguments.json ? DecodeOutput::Form::kJson : DecodeOutput::Form::kText;
    options.showsSecrets = arguments.showsSecrets;
    output.emplace(loop, options);
  }

  LiveLink link(loop, address, received, {}, {});
  if (recorder) link.addObserver(*recorder);
  if (live) link.addObserver(*live);
  if (output) link.addObserver(*output);
  const SignalWatch signals(loop, [&](int) { loop.stop(); });
  link.link().open();
  loop.run();

  link.link().close();
  if (output) output->finish(loop.clock().now());
  const int code = closeRecorder(recorder.get(), arguments.record);
  if (live) live->close();
  if (!link.failure().empty()) throw Failure(kLink, link.failure());
  if (output) tell(output->tally().text());
  return code;
}

}  // namespace

Run defineListen(CLI::App& app) {
  const auto arguments = std::make_shared<ListenArguments>();
  app.add_option("ADDRESS", arguments->address,
                 "Where the other side is, or comes: tcp://192.168.43.1:4711, pty://,\n"
                 "serial:///dev/ttyUSB0?baud=115200, tcp-listen://127.0.0.1:4711, ...")
      ->required()
      ->type_name("");
  app.add_option("--as", arguments->role, "What to be for the other side: phone or display")
      ->check(CLI::IsMember({"phone", "display"}))
      ->type_name("SIDE");
  app.add_flag("--json", arguments->json, "Print each record as a line of JSON");
  app.add_flag("--quiet", arguments->isQuiet, "Print no records");
  app.add_option("--record", arguments->record,
                 "Write what comes into this file: .pcapng, .txt, .json, .jsonl")
      ->type_name("FILE");
  app.add_flag("--secrets", arguments->showsSecrets, "Passwords and keys in text and JSON, too");
  app.add_option("--extcap", arguments->extcap,
                 "Print nothing, and write a live capture into this pipe, for Wireshark")
      ->type_name("PIPE");
  return [arguments] { return run(*arguments); };
}

}  // namespace varno::tool
