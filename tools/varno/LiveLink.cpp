#include "tools/varno/LiveLink.h"

#include "tools/varno/Failure.h"
#include "tools/varno/LinkArguments.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace varno::tool {

LiveLink::LiveLink(LinkLoop& loop, Address address, Direction received, const LinkOptions& options,
                   Handlers handlers)
    : loop_(loop),
      received_(received),
      reconnects_(options.reconnects),
      handlers_(std::move(handlers)),
      link_(loop, std::move(address), options,
            {.onStatus = [this](const LinkStatus& status) { onStatus(status); },
             .onBytes = [this](std::span<const std::uint8_t> bytes) { onBytes(bytes); },
             .onWritten =
                 [this](std::size_t, std::size_t) {
                   if (handlers_.onWritten) handlers_.onWritten();
                 }}),
      readingTimer_(loop) {}

void LiveLink::onBytes(std::span<const std::uint8_t> bytes) {
  const LinkTime now = loop_.clock().now();
  for (TrafficObserver* const observer : observers_) {
    observer->onBytes(now, received_, bytes, {});
  }
  setReading();
}

void LiveLink::setReading() {
  constexpr std::chrono::milliseconds kLookTime{10};
  const bool isBehind =
      std::any_of(observers_.begin(), observers_.end(),
                  [](const TrafficObserver* observer) { return observer->isBehind(); });
  if (isBehind) {
    link_.pauseReading();
    readingTimer_.after(kLookTime, [this] { setReading(); });
  } else if (isPaused_) {
    link_.resumeReading();
  }
  isPaused_ = isBehind;
}

void LiveLink::onStatus(const LinkStatus& status) {
  const bool wasUp = std::exchange(isUp_, status.state == LinkState::kUp);
  if (status.state == LinkState::kDown) return onDown(status, wasUp);
  if (!std::exchange(hasStood_, true) && status.address.isListening()) {
    tell("ready " + meetingPlace(status.address));
  }
  if (!isUp_) return;
  trouble_.clear();
  if (!status.reason.empty()) tell(shown(status.reason));
  record(RecordKind::kLinkUp, {});
  if (handlers_.onUp) handlers_.onUp();
}

void LiveLink::onDown(const LinkStatus& status, bool wasUp) {
  if (wasUp) record(RecordKind::kLinkDown, status.reason);
  if (!reconnects_ || (!hasStood_ && status.address.isListening())) {
    failure_ = status.address.text() + ": " + shown(status.reason);
    loop_.stop();
  } else if (!wasUp && std::exchange(trouble_, status.reason) != status.reason) {
    tell(status.address.text() + ": " + shown(status.reason) + "; trying again");
  }
}

void LiveLink::record(RecordKind kind, const std::string& note) {
  const TrafficRecord record{
      .time = loop_.clock().now().time_since_epoch().count(), .kind = kind, .note = note};
  for (TrafficObserver* const observer : observers_) observer->onRecord(record);
}

}  // namespace varno::tool
