#include "RecordSupport.h"

#include <VarnoNetwork/Network/HudException.h>
#include <VarnoNetwork/Network/HudLog.h>
#include <VarnoNetwork/Network/HudPacket.h>

// Takes an input for a frame, what stands around each line of its dump, and the lines of a log. The
// log is read as each form of text; a dump behind it has to be found whatever the log holds.

namespace varno::fuzz {
namespace {

bool areSound(const ReadResult& result) {
  return std::all_of(result.records.begin(), result.records.end(), [](const TrafficRecord& record) {
    const auto& bytes = record.bytes;
    return !bytes.empty() && (record.kind != RecordKind::kFrame ||
                              (bytes.size() >= 5 && bytes.front() == 2 && bytes.back() == 3));
  });
}

// The dump of a received frame, each line with the same text around it.
std::string dumpOf(ByteSpan frame, const std::string& before, const std::string& after) {
  std::string dump;
  HudLog::setSink(
      [&](std::string_view line) { dump += before + std::string(line) + after + "\n"; });
  HudPacket::hexDump("ReceivePacket", frame);
  HudLog::setSink({});
  return dump;
}

// What may stand around a line: nothing that a dump itself has.
std::string around(Script& script) {
  constexpr std::string_view kCharacters = " []:-./\"{}'TZghijkxyz";
  std::string text;
  for (std::size_t count = script.choice(24); count > 0; --count) {
    text += kCharacters[script.choice(kCharacters.size())];
  }
  return text;
}

}  // namespace
}  // namespace varno::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace varno;
  using namespace varno::fuzz;
  Script script({data, size});
  const std::size_t chunk = 1 + script.choice(64);
  const std::string before = around(script) + ":";  // a prefix ends somehow
  const std::string after = around(script);
  std::vector<std::uint8_t> frame{2};
  for (const std::uint8_t byte : script.bytes(3 + script.choice(32))) {
    frame.push_back(byte == 2 || byte == 3 ? 4 : byte);
  }
  frame.resize(std::max<std::size_t>(frame.size(), 4), 0);
  frame.push_back(3);
  const ByteSpan rest = script.bytes(size);
  const std::string log(rest.begin(), rest.end());

  for (const InputFormat format : {InputFormat::kHexDump, InputFormat::kHexText}) {
    require(areSound(readAll(log, format, chunk)), "records of a text");
  }
  const ReadResult wire = readAll(log, InputFormat::kWire, chunk);
  std::string bytes;
  for (const auto& record : wire.records) bytes.append(record.bytes.begin(), record.bytes.end());
  require(bytes == log && wire.warnings.empty(), "wire bytes are kept");

  const std::string behind = log + "\n" + dumpOf(frame, before, after);
  const ReadResult found = readAll(behind, InputFormat::kHexDump, chunk);
  const TrafficRecord expected{{}, Direction::kToPhone, RecordKind::kFrame, frame, {}};
  // An unfinished dump of the log may take a row for its own.
  const bool isMixed = log.find("Dump start") != std::string::npos;
  require(isMixed || std::count(found.records.begin(), found.records.end(), expected) > 0,
          "a dump in a log is found");

  try {
    std::istringstream stream(log);
    openRecords(stream);
  } catch (const InvalidArgumentException&) {
    // A form that is not read.
  }
  return 0;
}
