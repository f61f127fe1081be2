#include "tools/varno/Failure.h"
#include "tools/varno/FileBuffers.h"
#include "tools/varno/Frames.h"
#include "tools/varno/Subcommand.h"

#include <VarnoTraffic/Lint.h>
#include <VarnoTraffic/Notation.h>

#include <istream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace varno::tool {
namespace {

struct Arguments {
  std::vector<std::string> packets;
  bool raw = false;
};

// The line without the time and the direction that it may begin with. It was understood before.
std::string_view packetOf(std::string_view line) {
  const auto skip = [&](std::size_t count) {
    line.remove_prefix(count);
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
  };
  skip(0);
  if (line.starts_with('(')) skip(line.find(')') + 1);
  if (line.starts_with('>') || line.starts_with('<')) skip(1);
  return line;
}

class Encoder {
 public:
  explicit Encoder(bool raw) : raw_(raw) {}

  // Appends the bytes that the line stands for. False, with a message, where it is not understood.
  bool encode(std::string_view line, const std::string& place, std::string& output) {
    if (NotationReader::isBlank(line)) return true;
    NotationError error;
    if (!reader_.read(line, record_, error)) {
      tell(place + error.text() + "\n" + error.pointTo(line));
      return false;
    }
    if (record_.kind == RecordKind::kFrame) warn(line, place);
    if (raw_) {
      output.append(reinterpret_cast<const char*>(record_.bytes.data()), record_.bytes.size());
    } else if (!record_.bytes.empty()) {
      appendHex(output, record_.bytes);
      output += '\n';
    }
    return true;
  }

 private:
  void warn(std::string_view line, const std::string& place) const {
    NotationError error;
    const auto packet = reader_.readPacket(packetOf(line), error);
    if (packet == nullptr) return;  // bytes
    for (const std::string& sentence : lint(*packet, reader_.directory())) {
      tell(std::string(place).append("warning: ").append(sentence));
    }
  }

  bool raw_;
  NotationReader reader_;
  TrafficRecord record_;
};

// All of them or none.
int encodeArguments(const Arguments& arguments, OutputFile& output) {
  Encoder encoder(arguments.raw);
  std::string text;
  bool isGood = true;
  for (const std::string& packet : arguments.packets) {
    isGood &= encoder.encode(packet, {}, text);
  }
  if (!isGood) return kUsage;
  output.write(text);
  output.close();
  return kSuccess;
}

int encodeLines(const Arguments& arguments, OutputFile& output) {
  Encoder encoder(arguments.raw);
  InputFile input("-");
  input.setOnWait([&] { output.flush(); });
  std::istream lines(&input);
  lines.exceptions(std::ios::badbit);
  int code = kSuccess;
  std::string text;
  std::string line;
  for (std::uint64_t number = 1; std::getline(lines, line); ++number) {
    if (line.ends_with('\r')) line.pop_back();
    text.clear();
    if (!encoder.encode(line, "line " + std::to_string(number) + ", ", text)) code = kUnreadable;
    output.write(text);
  }
  output.close();
  return code;
}

int run(const Arguments& arguments) {
  OutputFile output("-");
  return arguments.packets.empty() ? encodeLines(arguments, output)
                                   : encodeArguments(arguments, output);
}

}  // namespace

Run defineEncode(CLI::App& app) {
  const auto arguments = std::make_shared<Arguments>();
  app.add_option("PACKET", arguments->packets,
                 "A packet's type and fields, or raw and bytes in hex; a line each of standard "
                 "input where there is none")
      ->type_name("");
  app.add_flag("--raw", arguments->raw, "The bytes themselves instead of hex");
  return [arguments] { return run(*arguments); };
}

}  // namespace varno::tool
