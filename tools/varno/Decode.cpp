#include "tools/varno/DecodeOutput.h"
#include "tools/varno/Failure.h"
#include "tools/varno/FileBuffers.h"
#include "tools/varno/Formats.h"
#include "tools/varno/RecordFilter.h"
#include "tools/varno/RecordSource.h"
#include "tools/varno/Subcommand.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace varno::tool {
namespace {

struct DecodeArguments {
  std::vector<std::string> files;
  std::string format;
  std::string times = "absolute";
  bool json = false;
  bool explain = false;
  bool hex = false;
  bool isQuiet = false;
  DecodeOutput::Options output;
  RecordFilter filter;
};

const std::map<std::string, DecodeOutput::Times> kTimes = {
    {"absolute", DecodeOutput::Times::kAbsolute}, {"a", DecodeOutput::Times::kAbsolute},
    {"relative", DecodeOutput::Times::kRelative}, {"z", DecodeOutput::Times::kRelative},
    {"delta", DecodeOutput::Times::kDelta},       {"d", DecodeOutput::Times::kDelta},
};

DecodeOutput::Form formOf(const DecodeArguments& arguments) {
  if (arguments.json + arguments.explain + arguments.hex > 1) {
    throw Failure(kUsage, "--json, --explain and --hex exclude each other");
  }
  if (arguments.json) return DecodeOutput::Form::kJson;
  if (arguments.explain) return DecodeOutput::Form::kExplain;
  return arguments.hex ? DecodeOutput::Form::kHex : DecodeOutput::Form::kText;
}

// False where something in the file could not be read.
bool decodeFile(const std::string& path, const DecodeArguments& arguments, DecodeOutput& decode,
                OutputFile& output) {
  const auto format =
      arguments.format.empty() ? std::nullopt : std::optional(formatNamed(arguments.format));
  RecordSource source(path, format, &output);
  TrafficRecord record;
  while (source.next(record)) {
    decode.pass(record);
    if (!arguments.filter.takes(record)) continue;
    output.write(decode.show(record));
  }
  return source.isWhole();
}

int run(DecodeArguments& arguments) {
  arguments.filter.prepare();
  OutputFile output("-");
  DecodeOutput::Options& options = arguments.output;
  options.form = formOf(arguments);
  options.times = kTimes.at(arguments.times);
  options.isColored = wantsColors(output);
  if (arguments.files.empty()) arguments.files.emplace_back("-");
  DecodeOutput decode(options, arguments.filter.directory());
  int code = kSuccess;
  for (const std::string& file : arguments.files) {
    try {
      if (!decodeFile(file, arguments, decode, output)) code = kUnreadable;
    } catch (const Failure& failure) {
      if (failure.code() != kUnreadable) throw;
      // The other files are not lost by one that cannot be read.
      code = kUnreadable;
      output.flush();
      tell(failure.what());
    }
  }
  output.close();
  if (!arguments.isQuiet) tell(decode.tally().text());
  return code;
}

}  // namespace

Run defineDecode(CLI::App& app) {
  const auto arguments = std::make_shared<DecodeArguments>();
  app.add_option("FILE", arguments->files,
                 "Captures, logs, text, JSON lines, hex, wire bytes; - is standard input")
      ->type_name("");
  app.add_option("--from", arguments->format, "What the input is, if its first bytes mislead")
      ->check(CLI::IsMember(formatNames()))
      ->type_name("FORMAT");
  app.add_flag("--json", arguments->json, "A JSON object a line");
  app.add_flag("--explain", arguments->explain, "Each frame, byte for byte, in a table");
  app.add_flag("--hex", arguments->hex, "The bytes in front of the packet");
  app.add_option("-t,--time", arguments->times,
                 "Times since 1970, since the first record, since the one before")
      ->check(CLI::IsMember({"absolute", "relative", "delta", "a", "z", "d"}))
      ->type_name("TIMES");
  app.add_flag("--secrets", arguments->output.showsSecrets, "Show passwords and keys");
  app.add_flag("-q,--quiet", arguments->isQuiet, "Without the counts at the end");
  arguments->filter.define(app);
  app.add_flag("--bad", arguments->output.onlyBad, "Only what is wrong")->group("Filters");
  return [arguments] { return run(*arguments); };
}

}  // namespace varno::tool
