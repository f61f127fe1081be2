#include "tools/varno/Failure.h"
#include "tools/varno/Formats.h"
#include "tools/varno/LinkArguments.h"
#include "tools/varno/Replayer.h"
#include "tools/varno/Subcommand.h"
#include "tools/varno/TrafficOutputs.h"
#include "tools/varno/WholeNumber.h"

#include <VarnoLink/LinkWatch.h>
#include <VarnoTraffic/RealText.h>

#include <cmath>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

namespace varno::tool {
namespace {

struct ReplayArguments {
  std::string file;
  std::string address;
  std::string format;
  std::string role = "phone";
  std::string from;
  std::string to;
  std::string gapLimit;
  std::string within = "2s";
  std::string speed = "1";
  std::optional<std::uint64_t> loops;
  bool steps = false;
  bool expects = false;
  TrafficArguments traffic;
};

double speedFrom(const std::string& text) {
  double speed = 0;
  if (!readReal(text, speed) || !std::isfinite(speed) || speed < 0) {
    throw Failure(kUsage, "--speed: '" + shown(text) + "' is no number from 0 on");
  }
  return speed;
}

Replayer::Options optionsFrom(const ReplayArguments& arguments) {
  if (arguments.file == "-")
    throw Failure(kUsage, "standard input cannot be replayed: name a file");
  Replayer::Options options;
  options.file = arguments.file;
  if (!arguments.format.empty()) options.format = formatNamed(arguments.format);
  options.direction = arguments.role == "display" ? Direction::kToPhone : Direction::kToDisplay;
  options.schedule.speed = speedFrom(arguments.speed);
  if (!arguments.gapLimit.empty()) {
    options.schedule.gapLimit = durationFrom(arguments.gapLimit, "--gap-limit");
  }
  if (!arguments.from.empty()) options.schedule.from = durationFrom(arguments.from, "--from");
  if (!arguments.to.empty()) options.schedule.to = durationFrom(arguments.to, "--to");
  if (options.schedule.to && options.schedule.from > *options.schedule.to) {
    throw Failure(kUsage, "--from " + arguments.from + " is behind --to " + arguments.to);
  }
  options.loops = arguments.loops.value_or(1);
  std::error_code ignored;
  if (options.loops != 1 && std::filesystem::exists(arguments.file, ignored) &&
      !std::filesystem::is_regular_file(arguments.file, ignored)) {
    throw Failure(kUsage, "--loop: '" + shown(arguments.file) + "' can be read only once");
  }
  options.waitsForEnter = arguments.steps;
  options.expects = arguments.expects;
  options.answerTimeout = durationFrom(arguments.within, "--within");
  options.secrets = arguments.traffic.secrets();
  return options;
}

std::string countsText(const Replayer::Counts& counts, bool expects) {
  std::string text =
      counted(counts.sent, "record") + " sent, " + counted(counts.received, "frame") + " received";
  if (expects) text += ", " + std::to_string(counts.expected) + " as expected";
  return text;
}

int run(const ReplayArguments& arguments) {
  const Address address = addressFrom(arguments.address);
  const Replayer::Options options = optionsFrom(arguments);
  LinkLoop loop;
  Replayer replayer(loop, address, options);
  refuseSameFile(arguments.file, arguments.traffic.record());
  TrafficOutputs outputs(loop, arguments.traffic);
  outputs.observe(replayer);
  const SignalWatch signals(loop, [&](int) { loop.stop(); });
  replayer.start();
  loop.run();

  const int code = outputs.close();
  tell(countsText(replayer.counts(), options.expects));
  if (!replayer.finish()) return kUnreadable;
  return code;
}

}  // namespace

Run defineReplay(CLI::App& app) {
  const auto arguments = std::make_shared<ReplayArguments>();
  app.add_option("FILE", arguments->file, "Any recorded traffic")->required()->type_name("");
  app.add_option("ADDRESS", arguments->address,
                 "Where the other side is, or comes: tcp://192.168.43.1:4711, pty://, ...")
      ->required()
      ->type_name("");
  app.add_option("--as", arguments->role, "Whose records are sent; phone unless told")
      ->check(CLI::IsMember({"phone", "display"}))
      ->type_name("SIDE");
  app.add_flag("--expect", arguments->expects,
               "Wait for the other side's recorded frames, and end at the first that\n"
               "differs or does not come");
  app.add_option("--within", arguments->within, "How long to wait for one; 2s unless told")
      ->type_name("T");
  app.add_option("--speed", arguments->speed,
                 "So many times as fast as it was recorded; 0: without pauses")
      ->type_name("X")
      ->group("Pace");
  app.add_option("--gap-limit", arguments->gapLimit, "Cut longer pauses to this")
      ->type_name("T")
      ->group("Pace");
  app.add_flag("--step", arguments->steps, "Send each record when Enter is pressed")->group("Pace");
  app.add_option("--from", arguments->from, "Begin so long after the first record, as 1m or 2.5s")
      ->type_name("T")
      ->group("Pace");
  app.add_option("--to", arguments->to, "End so long after the first record")
      ->type_name("T")
      ->group("Pace");
  app.add_option("--loop", arguments->loops, "Send it so many times; 0: until stopped")
      ->check(wholeNumber())
      ->type_name("N")
      ->group("Pace");
  app.add_option("--format", arguments->format, "What the file is, if its first bytes mislead")
      ->check(CLI::IsMember(formatNames()))
      ->type_name("FORMAT");
  arguments->traffic.define(app);
  return [arguments] { return run(*arguments); };
}

}  // namespace varno::tool
