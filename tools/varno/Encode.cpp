#include "tools/varno/Failure.h"
#include "tools/varno/FileBuffers.h"
#include "tools/varno/Frames.h"
#include "tools/varno/PacketLine.h"
#include "tools/varno/Subcommand.h"

#include <istream>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace varno::tool {
namespace {

struct EncodeArguments {
  std::vector<std::string> packets;
  bool raw = false;
};

class Encoder {
 public:
  explicit Encoder(bool raw) : raw_(raw) {}

  // Appends the bytes that the line stands for. False, with a message, where it is not understood.
  bool encode(std::string_view line, const std::string& place, std::string& output) {
    if (!line_.read(line, place)) return false;
    const std::span<const std::uint8_t> bytes = line_.bytes();
    if (raw_) {
      output.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    } else if (!bytes.empty()) {
      appendHex(output, bytes);
      output += '\n';
    }
    return true;
  }

 private:
  bool raw_;
  PacketLine line_;
};

// All of them or none.
int encodeArguments(const EncodeArguments& arguments, OutputFile& output) {
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

int encodeLines(const EncodeArguments& arguments, OutputFile& output) {
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

int run(const EncodeArguments& arguments) {
  OutputFile output("-");
  return arguments.packets.empty() ? encodeLines(arguments, output)
                                   : encodeArguments(arguments, output);
}

}  // namespace

Run defineEncode(CLI::App& app) {
  const auto arguments = std::make_shared<EncodeArguments>();
  app.add_option("PACKET", arguments->packets,
                 "A packet's type and fields, or raw and bytes in hex; a line each of standard "
                 "input where there is none")
      ->type_name("");
  app.add_flag("--raw", arguments->raw, "The bytes themselves instead of hex");
  return [arguments] { return run(*arguments); };
}

}  // namespace varno::tool
