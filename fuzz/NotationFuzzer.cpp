#include "FuzzSupport.h"
#include "tests/traffic/TrafficSupport.h"

#include <VarnoTraffic/VarnoTraffic.h>

#include <cstdint>
#include <string>
#include <string_view>

// Takes an input for a line of text, and of JSON. What can be read has to be the same record when
// it is printed and read again, in either form.

namespace varno::fuzz {
namespace {

const PacketRegistration<test::EveryFieldPacket> kEveryField;

template <class Printer, class Reader>
void checkPrinted(const TrafficRecord& record, const char* promise) {
  static auto& printer = *new Printer(Secrets::kShown);
  static auto& reader = *new Reader;
  std::string line;
  printer.append(line, record);
  require(line.find('\n') == std::string::npos, "a record is one line");
  TrafficRecord again;
  NotationError error;
  require(reader.read(line, again, error), promise);
  require(again == record, promise);
}

template <class Reader>
void readLine(std::string_view line) {
  static auto& reader = *new Reader;
  TrafficRecord record;
  NotationError error;
  if (!reader.read(line, record, error)) {
    require(!error.expected.empty() && !error.text().empty(), "an error says what was expected");
    const std::string shown = error.pointTo(line);
    require(shown.find('^') != std::string::npos, "an error has a caret");
    return;
  }
  checkPrinted<NotationPrinter, NotationReader>(record, "text is read as it was printed");
  record.note.clear();  // which JSON cannot tell where it is not valid UTF-8
  checkPrinted<JsonPrinter, JsonReader>(record, "JSON is read as it was printed");
}

}  // namespace
}  // namespace varno::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  varno::HudLog::setSink([](std::string_view) {});  // refused version texts are not looked at here
  const std::string_view line(reinterpret_cast<const char*>(data), size);
  varno::fuzz::readLine<varno::NotationReader>(line);
  varno::fuzz::readLine<varno::JsonReader>(line);
  return 0;
}
