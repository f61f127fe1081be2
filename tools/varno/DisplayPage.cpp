#include "tools/varno/DisplayPage.h"

#include "tools/varno/PageTexts.h"

#include <VarnoLink/Fault.h>
#include <VarnoTraffic/FrameContent.h>

#include <string_view>
#include <utility>
#include <vector>

namespace varno::tool {

DisplayPage::DisplayPage(LinkLoop& loop, LiveDisplay& live, PageOptions options)
    : live_(live), server_(completed(loop, std::move(options))) {
  server_.setState(seenState(live_.display().state()), std::nullopt,
                   loop.clock().now().time_since_epoch().count());
  onDone();
}

PageOptions DisplayPage::completed(LinkLoop& loop, PageOptions options) {
  options.sends = {Direction::kToPhone};
  options.faults = {kBothDirections.begin(), kBothDirections.end()};
  options.faultKinds = faultKindsJson();
  options.linkActions = {"hangUp", "reset", "open"};
  options.onCommand = [this, &loop] { loop.post([this] { doCommands(); }); };
  return options;
}

void DisplayPage::setAddress(const std::string& text) {
  linkAddress_ = text;
  onDone();
}

void DisplayPage::onRecord(const TrafficRecord& record) {
  record_ = server_.add(record);
  cause_ = causeIn(record);
  if (pending_) settle(pending_->cause == cause_ ? std::optional(record_) : std::nullopt);
}

// As a change has it.
std::string DisplayPage::causeIn(const TrafficRecord& record) const {
  if (record.kind == RecordKind::kLinkUp || record.kind == RecordKind::kLinkDown) return "link";
  if (record.kind != RecordKind::kFrame) return {};
  const PacketDirectory::Entry* const entry = entryOf(record.bytes, directory_);
  return std::string(entry == nullptr ? std::string_view() : entry->type.name());
}

// Of a packet that came, the record is there; of one that is sent it comes next. All that one
// packet changed is in the state with the first of its changes.
void DisplayPage::onChange(const StateChange& change) {
  if (change.cause == cause_) {
    if (toldRecord_ == record_) return;
    toldRecord_ = record_;
    server_.setState(seenState(live_.display().state()), record_, change.time);
  } else if (!pending_ || pending_->cause != change.cause) {
    settle(std::nullopt);
    pending_ = {seenState(live_.display().state()), change.time, change.cause};
  }
}

void DisplayPage::settle(std::optional<std::uint64_t> record) {
  if (!pending_) return;
  server_.setState(std::move(pending_->state), record, pending_->time);
  pending_.reset();
}

void DisplayPage::onDone() {
  settle(std::nullopt);
  const bool isUp = live_.display().isUp();
  server_.setLinks({{.name = "phone",
                     .address = linkAddress_,
                     .state = isUp                ? "up"
                              : live_.staysDown() ? "down"
                                                  : "waiting"}});
  std::vector<std::string> faults;
  for (const Direction direction : kBothDirections) {
    appendFaults(faults, direction, live_.display().faults(direction));
  }
  server_.setFaults(faults);
}

void DisplayPage::doCommands() {
  while (const auto command = server_.takeCommand()) {
    command->answer(perform(*command));
    live_.isUsed();
  }
}

std::string DisplayPage::perform(const PageCommand& command) {
  SimulatedDisplay& display = live_.display();
  switch (command.kind) {
    case PageCommand::Kind::kSend:
      if (!display.isUp()) return "The link is down.";
      display.sendBytes(command.bytes);
      break;
    case PageCommand::Kind::kFault: {
      NotationError error;
      const auto fault = faultFromText(command.fault, error);
      if (!fault) return error.text();
      put(command, *fault);
      break;
    }
    case PageCommand::Kind::kClearFaults: clearFaults(command); break;
    case PageCommand::Kind::kHangUp: live_.hangUp(); break;
    case PageCommand::Kind::kReset:
      if (!display.isUp()) return "The link is down.";
      display.disconnect(HangUp::kReset);
      break;
    case PageCommand::Kind::kOpen: live_.comeBack(); break;
  }
  return {};
}

void DisplayPage::put(const PageCommand& command, const Fault& fault) {
  for (const Direction direction : kBothDirections) {
    if (command.isFor(direction)) live_.display().fault(direction, fault);
  }
}

void DisplayPage::clearFaults(const PageCommand& command) {
  for (const Direction direction : kBothDirections) {
    if (!command.isFor(direction)) continue;
    for (const FaultStage::Entry& entry : live_.display().faults(direction)) {
      live_.display().removeFault(direction, entry.id);
    }
  }
}

}  // namespace varno::tool
