#include "tools/varno/TapPage.h"

#include "tools/varno/PageTexts.h"

#include <VarnoLink/Fault.h>

#include <chrono>
#include <utility>
#include <vector>

namespace varno::tool {
namespace {

// How often the display that only looks on is told how late it is, and the page what the faults
// did.
constexpr std::chrono::milliseconds kBeat{250};

}  // namespace

TapPage::TapPage(LinkLoop& loop, Relay& relay, PageOptions options)
    : loop_(loop),
      relay_(relay),
      server_(completed(std::move(options))),
      display_(server_),
      cutter_([this](const TrafficRecord& record) { display_.pass(record, server_.add(record)); }),
      timer_(loop) {
  relay_.addObserver(cutter_);
  onStatus();
  advance();
}

TapPage::~TapPage() { relay_.removeObserver(cutter_); }

PageOptions TapPage::completed(PageOptions options) {
  options.sends = {kBothDirections.begin(), kBothDirections.end()};
  options.faults = {kBothDirections.begin(), kBothDirections.end()};
  options.faultKinds = faultKindsJson();
  options.linkActions = {"hangUp", "open"};
  options.onCommand = [this] { loop_.post([this] { doCommands(); }); };
  return options;
}

void TapPage::onStatus() {
  std::vector<PageLink> links;
  for (const RelaySide side : {RelaySide::kPhone, RelaySide::kDisplay}) {
    links.push_back(pageLink(std::string(relaySideText(side)), relay_.status(side)));
  }
  server_.setLinks(links);
}

void TapPage::advance() {
  display_.advanceTo(loop_.clock().now());
  tellFaults();
  timer_.after(kBeat, [this] { advance(); });
}

void TapPage::doCommands() {
  while (const auto command = server_.takeCommand()) {
    command->answer(perform(*command));
    onStatus();
    tellFaults();
  }
}

std::string TapPage::perform(const PageCommand& command) {
  switch (command.kind) {
    case PageCommand::Kind::kSend: return send(command);
    case PageCommand::Kind::kFault: {
      NotationError error;
      const auto fault = faultFromText(command.fault, error);
      if (!fault) return error.text();
      for (const Direction direction : kBothDirections) {
        if (command.isFor(direction)) relay_.addFault(direction, *fault);
      }
      return {};
    }
    case PageCommand::Kind::kClearFaults:
      for (const Direction direction : kBothDirections) {
        if (command.isFor(direction)) relay_.clearFaults(direction);
      }
      return {};
    case PageCommand::Kind::kHangUp:
      relay_.hangUp(RelaySide::kPhone);
      relay_.hangUp(RelaySide::kDisplay);
      return {};
    case PageCommand::Kind::kOpen: relay_.open(); return {};
    case PageCommand::Kind::kReset: break;
  }
  return "A tap cannot do this.";
}

std::string TapPage::send(const PageCommand& command) {
  for (const Direction direction : kBothDirections) {
    if (command.direction != direction || relay_.send(direction, command.bytes)) continue;
    const bool isToDisplay = direction == Direction::kToDisplay;
    const RelaySide side = isToDisplay ? RelaySide::kDisplay : RelaySide::kPhone;
    return relay_.status(side).state == LinkState::kUp
               ? "Too much waits to be sent in this direction."
               : "The " + std::string(relaySideText(side)) + " is not up.";
  }
  return {};
}

void TapPage::tellFaults() {
  std::vector<std::string> texts;
  for (const Direction direction : kBothDirections) {
    appendFaults(texts, direction, relay_.faults(direction));
  }
  server_.setFaults(texts);
}

}  // namespace varno::tool
