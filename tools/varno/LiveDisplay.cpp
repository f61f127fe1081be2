#include "tools/varno/LiveDisplay.h"

#include <utility>

namespace varno::tool {

LiveDisplay::LiveDisplay(LinkLoop& loop, Address address, DisplayOptions options, Handlers handlers)
    : handlers_(std::move(handlers)),
      display_(loop.clock(), std::move(options)),
      link_(loop, std::move(address), {}, linkHandlers()),
      timer_(loop) {
  display_.setHandlers(wiring());
}

DisplayHandlers LiveDisplay::wiring() {
  return {.onOutput = [this](std::span<const std::uint8_t> bytes) { onOutput(bytes); },
          .onHangUp = [this](HangUp how) { hangUp(how); },
          .onFrame = handlers_.onFrame,
          .onChange = handlers_.onChange,
          .onRecord = handlers_.onRecord};
}

LinkHandlers LiveDisplay::linkHandlers() {
  return {.onStatus = [this](const LinkStatus& status) { onStatus(status); },
          .onBytes =
              [this](std::span<const std::uint8_t> bytes) {
                display_.receive(bytes);
                isUsed();
              },
          .onWritten = [this](std::size_t, std::size_t) { hangUpWhenWritten(); }};
}

void LiveDisplay::onStatus(const LinkStatus& status) {
  const Address& address = status.address;
  if (status.state != LinkState::kDown && !isReady_) {
    isReady_ = true;
    if (handlers_.onReady) {
      handlers_.onReady(address.isListening() ? address.counterpart() : address);
    }
  }
  if (status.state == LinkState::kUp) {
    trouble_.clear();
    hangsUp_ = false;
    display_.linkUp();
  } else if (status.state == LinkState::kDown) {
    const bool wasUp = display_.isUp();
    display_.linkDown(status.reason);
    if (!wasUp && !hangsUp_ && !status.reason.empty() && status.reason != trouble_) {
      trouble_ = status.reason;
      if (handlers_.onTrouble) handlers_.onTrouble(trouble_);
    }
  }
  isUsed();
}

void LiveDisplay::onOutput(std::span<const std::uint8_t> bytes) {
  if (!link_.send(bytes)) refusedBytes_ += bytes.size();
}

void LiveDisplay::hangUp(HangUp how) {
  if (how == HangUp::kReset) return link_.reset();
  hangsUp_ = true;
  hangUpWhenWritten();
}

// What the link has not given to the system yet would be lost.
void LiveDisplay::hangUpWhenWritten() {
  if (hangsUp_ && link_.queuedBytes() == 0) link_.hangUp();
}

void LiveDisplay::isUsed() {
  if (handlers_.onDone) handlers_.onDone();
  if (const std::optional<LinkTime> due = display_.nextDue()) {
    timer_.at(*due, [this] {
      display_.advance();
      isUsed();
    });
  } else {
    timer_.cancel();
  }
}

}  // namespace varno::tool
