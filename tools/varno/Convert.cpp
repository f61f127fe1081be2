#include "tools/varno/Failure.h"
#include "tools/varno/FileBuffers.h"
#include "tools/varno/Formats.h"
#include "tools/varno/RecordFilter.h"
#include "tools/varno/RecordSource.h"
#include "tools/varno/Subcommand.h"

#include <VarnoTraffic/FrameContent.h>

#include <VarnoDisplay/ScenarioWriter.h>

#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace varno::tool {
namespace {

struct ConvertArguments {
  std::string input;
  std::string output;
  std::string from;
  std::string to;
  bool showsSecrets = false;
  RecordFilter filter;
};

constexpr std::string_view kScenario = "scenario";
constexpr std::string_view kScenarioEnding = ".varno";

bool isToScenario(const ConvertArguments& arguments) {
  return arguments.to.empty() ? arguments.output.ends_with(kScenarioEnding)
                              : arguments.to == kScenario;
}

InputFormat outputFormat(const ConvertArguments& arguments) {
  if (!arguments.to.empty()) return formatNamed(arguments.to);
  if (const auto format = formatOfName(arguments.output)) return *format;
  throw Failure(kUsage, "the ending of '" + shown(arguments.output) +
                            "' tells no format: give --to, or one of " + formatEndings() +
                            ", .varno (scenario)");
}

bool mayHaveSecrets(const TrafficRecord& record, const PacketDirectory& directory) {
  const PacketDirectory::Entry* const entry = entryOf(record.bytes, directory);
  return entry != nullptr && entry->mayHaveSecrets;
}

// False where something in the input could not be read.
bool copyRecords(const ConvertArguments& arguments, RecordSource& source, InputFormat to,
                 OutputFile& output) {
  std::ostream stream(&output);
  stream.exceptions(std::ios::badbit);
  const auto writer =
      makeWriter(to, stream, arguments.showsSecrets ? Secrets::kShown : Secrets::kHidden);
  const bool mayHide =
      !arguments.showsSecrets && (to == InputFormat::kTextLines || to == InputFormat::kJsonLines);
  bool hidesSecrets = false;
  std::optional<Direction> written;
  TrafficRecord record;
  while (source.next(record)) {
    if (!arguments.filter.takes(record)) continue;
    if (isOneStream(to) && record.direction && !record.bytes.empty()) {
      if (written.value_or(*record.direction) != *record.direction) {
        throw Failure(kUsage,
                      "bytes alone do not tell both directions apart: choose one by --direction");
      }
      written = record.direction;
    }
    hidesSecrets =
        hidesSecrets || (mayHide && mayHaveSecrets(record, arguments.filter.directory()));
    writer->write(record);
  }
  writer->flush();
  if (hidesSecrets) {
    tell(
        "passwords and keys are hidden, and their packets cannot be read back: --secrets writes "
        "them");
  }
  return source.isWhole();
}

// What the display sent, and what is expected of the phone.
bool makeScenario(const ConvertArguments& arguments, RecordSource& source, OutputFile& output) {
  std::ostream stream(&output);
  stream.exceptions(std::ios::badbit);
  ScenarioWriter writer(stream, "from " + shown(arguments.input), arguments.filter.directory());
  TrafficRecord record;
  while (source.next(record)) {
    if (arguments.filter.takes(record)) writer.write(record);
  }
  if (writer.lackingSecrets() > 0) {
    tell("passwords and keys that the display sent are left out of the scenario");
  }
  return source.isWhole();
}

int run(ConvertArguments& arguments) {
  arguments.filter.prepare();
  const bool toScenario = isToScenario(arguments);
  const InputFormat format = toScenario ? InputFormat::kTextLines : outputFormat(arguments);
  refuseSameFile(arguments.input, arguments.output);
  const auto from =
      arguments.from.empty() ? std::nullopt : std::optional(formatNamed(arguments.from));
  // Where the input cannot be opened, or is not what can be read, no output is made.
  RecordSource source(arguments.input, from, nullptr);
  OutputFile output(arguments.output);
  source.setOutput(output);
  try {
    const bool isWhole = toScenario ? makeScenario(arguments, source, output)
                                    : copyRecords(arguments, source, format, output);
    output.close();
    return isWhole ? kSuccess : kUnreadable;
  } catch (...) {
    output.remove();
    throw;
  }
}

}  // namespace

Run defineConvert(CLI::App& app) {
  const auto arguments = std::make_shared<ConvertArguments>();
  app.add_option("IN", arguments->input, "Any recorded traffic; - is standard input")
      ->required()
      ->type_name("");
  app.add_option(
         "OUT", arguments->output,
         "Told by its ending: " + formatEndings() + ", .varno (scenario); - is standard output")
      ->required()
      ->type_name("");
  app.add_option("--from", arguments->from, "What the input is, if its first bytes mislead")
      ->check(CLI::IsMember(formatNames()))
      ->type_name("FORMAT");
  std::vector<std::string> outputs = formatNames();
  outputs.emplace_back(kScenario);
  app.add_option("--to", arguments->to, "What the output is to be")
      ->check(CLI::IsMember(std::move(outputs)))
      ->type_name("FORMAT");
  app.add_flag("--secrets", arguments->showsSecrets, "Passwords and keys in text and JSON, too");
  arguments->filter.define(app);
  return [arguments] { return run(*arguments); };
}

}  // namespace varno::tool
