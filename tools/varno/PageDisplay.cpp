#include "tools/varno/PageDisplay.h"

#include "tools/page/CommandReader.h"
#include "tools/varno/PageTexts.h"

#include <chrono>
#include <utility>

namespace varno::tool {
namespace {

// The real display answered; this one keeps its peace.
DisplayOptions silentOptions() {
  DisplayOptions options;
  options.maxHistory = 0;
  options.switchedOff = {DisplayAnswer::kVersion,      DisplayAnswer::kBluetoothStatus,
                         DisplayAnswer::kDevicesFound, DisplayAnswer::kPairing,
                         DisplayAnswer::kConnection,   DisplayAnswer::kWifiStatus,
                         DisplayAnswer::kLineCheck,    DisplayAnswer::kUpdate,
                         DisplayAnswer::kHangUp,       DisplayAnswer::kRestart};
  return options;
}

}  // namespace

PageDisplay::PageDisplay(PageServer& page) : page_(page), display_(clock_, silentOptions()) {
  DisplayHandlers handlers;
  handlers.onChange = [this](const StateChange&) { hasChanged_ = true; };
  display_.setHandlers(std::move(handlers));
}

void PageDisplay::pass(const TrafficRecord& record, std::uint64_t number) {
  if (record.time) advanceTo(LinkTime(std::chrono::nanoseconds(*record.time)));
  apply(record);
  tell(number);
}

void PageDisplay::apply(const TrafficRecord& record) {
  if (record.kind == RecordKind::kLinkDown) {
    display_.linkDown(record.note);
  } else if (record.kind == RecordKind::kLinkUp) {
    // There may be several links, or the same one twice.
    if (!display_.isUp()) display_.linkUp();
  } else if (record.kind == RecordKind::kFrame) {
    // A recording may begin when the link is already up.
    if (!display_.isUp()) display_.linkUp();
    // Bytes alone tell no direction.
    if (record.direction.value_or(usualDirection(record.bytes)) == Direction::kToDisplay) {
      display_.receive(record.bytes);
    } else {
      display_.sendBytes(record.bytes);
    }
  }
}

void PageDisplay::advanceTo(LinkTime time) {
  while (const auto due = display_.nextDue()) {
    if (*due > time) break;
    clock_.advanceTo(*due);
    display_.advance();
    tell(std::nullopt);
  }
  clock_.advanceTo(time);
}

void PageDisplay::tell(std::optional<std::uint64_t> number) {
  if (!hasChanged_) return;
  hasChanged_ = false;
  page_.setState(seenState(display_.state()), number, clock_.now().time_since_epoch().count());
}

}  // namespace varno::tool
