#include "tools/varno/DisplayPage.h"

#include <VarnoLink/Fault.h>

#include <nlohmann/json.hpp>

#include <array>
#include <utility>

namespace varno::tool {
namespace {

constexpr std::array kDirections = {Direction::kToDisplay, Direction::kToPhone};

PageOptions withAbilities(PageOptions options) {
  options.sends = {Direction::kToPhone};
  options.faults = {kDirections.begin(), kDirections.end()};
  options.faultKinds = faultKindsJson();
  options.hasLink = true;
  return options;
}

bool isMeant(const std::optional<Direction>& wanted, Direction direction) {
  return wanted.value_or(direction) == direction;
}

}  // namespace

std::string faultKindsJson() {
  nlohmann::ordered_json kinds = nlohmann::ordered_json::array();
  for (const FaultKind kind : kFaultKinds) {
    kinds.push_back({{"kind", faultKindText(kind)},
                     {"parameters", faultParametersText(kind)},
                     {"summary", faultSummary(kind)}});
  }
  return kinds.dump();
}

DisplayPage::DisplayPage(SimulatedDisplay& display, PageOptions options, LinkActions link)
    : display_(display), link_(std::move(link)), server_(withAbilities(std::move(options))) {
  server_.setState(jsonOf(display_.state()), std::nullopt, 0);
}

void DisplayPage::onRecord(const TrafficRecord& record) { record_ = server_.add(record); }

void DisplayPage::onChange(const StateChange& change) {
  change_ = change;
  cause_ = change.cause == "time" ? std::nullopt : std::optional(record_);
}

void DisplayPage::tell() {
  if (!change_) return;
  server_.setState(jsonOf(display_.state()), cause_, change_->time);
  change_.reset();
}

void DisplayPage::doCommands() {
  while (const auto command = server_.takeCommand()) {
    command->answer(perform(*command));
    tell();
  }
}

std::string DisplayPage::perform(const PageCommand& command) {
  switch (command.kind) {
    case PageCommand::Kind::kSend:
      if (!display_.isUp()) return "The link is down.";
      display_.sendBytes(command.bytes);
      break;
    case PageCommand::Kind::kFault: {
      NotationError error;
      const auto fault = faultFromText(command.fault, error);
      if (!fault) return error.text();
      put(command, *fault);
      break;
    }
    case PageCommand::Kind::kClearFaults: clearFaults(command.direction); break;
    case PageCommand::Kind::kHangUp: link_.close(); break;
    case PageCommand::Kind::kReset:
      if (!display_.isUp()) return "The link is down.";
      link_.reset();
      break;
    case PageCommand::Kind::kOpen: link_.open(); break;
  }
  tellFaults();
  return {};
}

void DisplayPage::put(const PageCommand& command, const Fault& fault) {
  for (const Direction direction : kDirections) {
    if (isMeant(command.direction, direction)) display_.fault(direction, fault);
  }
}

void DisplayPage::clearFaults(std::optional<Direction> wanted) {
  for (const Direction direction : kDirections) {
    if (!isMeant(wanted, direction)) continue;
    for (const FaultStage::Entry& entry : display_.faults(direction)) {
      display_.removeFault(direction, entry.id);
    }
  }
}

void DisplayPage::tellFaults() {
  std::vector<std::string> texts;
  for (const Direction direction : kDirections) {
    for (const FaultStage::Entry& entry : display_.faults(direction)) {
      texts.push_back(faultText(DirectedFault{direction, entry.fault}) + " (acted on " +
                      std::to_string(entry.acted) + ")");
    }
  }
  server_.setFaults(texts);
}

}  // namespace varno::tool
