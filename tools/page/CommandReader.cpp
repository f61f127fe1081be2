#include "tools/page/CommandReader.h"

#include <VarnoTraffic/Notation.h>

#include <nlohmann/json.hpp>

#include <algorithm>

namespace varno::tool {
namespace {

using Json = nlohmann::json;
using Kind = PageCommand::Kind;

std::string textOf(const Json& json, const char* key) {
  const auto found = json.find(key);
  return found != json.end() && found->is_string() ? found->get<std::string>() : std::string();
}

bool has(const std::vector<Direction>& directions, std::optional<Direction> wanted) {
  if (!wanted) return !directions.empty();
  return std::find(directions.begin(), directions.end(), *wanted) != directions.end();
}

std::string readLine(const Json& json, PageCommand& command) {
  static const NotationReader kReader;
  TrafficRecord record;
  NotationError error;
  const std::string line = textOf(json, "line");
  if (!kReader.read(line, record, error)) return error.text();
  if (record.bytes.empty()) return "There are no bytes in it to be sent.";
  if (!command.direction) command.direction = record.direction;
  command.bytes = std::move(record.bytes);
  return {};
}

std::string readAgain(const Json& json, PageHub& hub, PageCommand& command) {
  const auto number = json.find("record");
  if (number == json.end() || !number->is_number_unsigned()) return "No record is named.";
  const std::lock_guard lock(hub.mutex);
  const RecordRing::Kept* const kept = hub.ring.find(number->get<std::uint64_t>());
  if (kept == nullptr) return "This record is not kept any more.";
  if (kept->record.bytes.empty()) return "This record has no bytes to be sent.";
  if (!command.direction) command.direction = kept->record.direction;
  command.bytes = kept->record.bytes;
  return {};
}

}  // namespace

Direction usualDirection(std::span<const std::uint8_t> frame) {
  constexpr std::uint8_t kEvent = 3;
  const bool isEvent = frame.size() > 2 && frame[1] == 0x7D && (frame[2] ^ 0x7D) == kEvent;
  return isEvent ? Direction::kToPhone : Direction::kToDisplay;
}

std::string readCommand(const std::string& body, PageHub& hub, const PageOptions& options,
                        PageCommand& command) {
  const Json json = Json::parse(body, nullptr, false);
  if (!json.is_object()) return "The command is no JSON object.";
  command.direction = directionFromText(textOf(json, "direction"));
  const std::string what = textOf(json, "do");
  if (what == "send" || what == "again") {
    command.kind = Kind::kSend;
    std::string problem = what == "send" ? readLine(json, command) : readAgain(json, hub, command);
    if (!problem.empty()) return problem;
    if (!command.direction) command.direction = usualDirection(command.bytes);
    return has(options.sends, command.direction) ? "" : "Nothing can be sent in this direction.";
  }
  if (what == "fault" || what == "clear") {
    command.kind = what == "fault" ? Kind::kFault : Kind::kClearFaults;
    if (!has(options.faults, command.direction)) {
      return "No faults can be put into this direction.";
    }
    command.fault = textOf(json, "line");  // whether it is one, the tool says
    return {};
  }
  if (what == "hangUp")
    command.kind = Kind::kHangUp;
  else if (what == "reset")
    command.kind = Kind::kReset;
  else if (what == "open")
    command.kind = Kind::kOpen;
  else
    return "There is no such command.";
  const auto& actions = options.linkActions;
  const bool canDo = std::find(actions.begin(), actions.end(), what) != actions.end();
  return canDo ? "" : "This cannot be done here.";
}

}  // namespace varno::tool
