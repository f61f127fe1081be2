#include "tools/varno/LiveDisplay.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace varno::tool {
namespace {

// How long the phone may take to read what was sent last.
constexpr std::chrono::seconds kMostLinger{2};

std::optional<LinkTime> earlier(std::optional<LinkTime> left, std::optional<LinkTime> right) {
  if (!left || !right) return left ? left : right;
  return std::min(*left, *right);
}

}  // namespace

LiveDisplay::LiveDisplay(LinkLoop& loop, Address address, DisplayOptions options,
                         const Scenario* scenario, Handlers handlers)
    : handlers_(std::move(handlers)),
      display_(loop.clock(), std::move(options)),
      link_(loop, std::move(address), linkHandlers()),
      timer_(loop),
      lingerTimer_(loop) {
  ScenarioWire& wire = *this;
  if (scenario != nullptr) runner_.emplace(*scenario, loop.clock(), wire);
  display_.setHandlers(displayHandlers());
}

DisplayHandlers LiveDisplay::displayHandlers() {
  DisplayHandlers handlers;
  handlers.onOutput = [this](std::span<const std::uint8_t> bytes) { link_.send(bytes); };
  handlers.onHangUp = [this](HangUp how) {
    if (staysDown_) return link_.close(how);
    link_.hangUp(how);
    if (runner_) runner_->linkDown();
  };
  if (runner_) {
    handlers.onFrame = [this](std::span<const std::uint8_t> frame,
                              const std::shared_ptr<HudPacket>& packet) {
      return runner_->receive(frame, packet);
    };
  }
  handlers.onChange = handlers_.onChange;
  if (runner_ || handlers_.onRecord) {
    handlers.onRecord = [this](const TrafficRecord& record) { onRecord(record); };
  }
  return handlers;
}

PeerLink::Handlers LiveDisplay::linkHandlers() {
  return {.onReady = handlers_.onReady,
          .onTrouble = handlers_.onTrouble,
          .onUseless = handlers_.onUseless,
          .onUp =
              [this] {
                display_.linkUp();
                if (runner_) runner_->linkUp();
                isUsed();
              },
          .onDown =
              [this](const std::string& reason) {
                display_.linkDown(reason);
                if (runner_) runner_->linkDown();
                isUsed();
              },
          .onBytes =
              [this](std::span<const std::uint8_t> bytes) {
                display_.receive(bytes);
                isUsed();
              },
          .onWritten = [this] { tellWhenPlayed(); }};
}

void LiveDisplay::onRecord(const TrafficRecord& record) {
  if (runner_) runner_->addRecord(record);
  if (handlers_.onRecord) handlers_.onRecord(record);
}

void LiveDisplay::start() {
  link_.open();
  if (runner_) runner_->start();
  isUsed();
}

void LiveDisplay::end() {
  isPlayed_ = true;
  link_.close(HangUp::kClose);
  display_.linkDown("the display ended");
}

void LiveDisplay::goDown(HangUp how) {
  staysDown_ = true;
  if (display_.isUp()) {
    display_.disconnect(how);
  } else {
    link_.close(how);
  }
}

void LiveDisplay::open() {
  if (std::exchange(staysDown_, false)) link_.open();
}

void LiveDisplay::hangUp() {
  goDown(HangUp::kClose);
  isUsed();
}

void LiveDisplay::comeBack() {
  open();
  isUsed();
}

void LiveDisplay::isUsed() {
  if (handlers_.onDone) handlers_.onDone();
  const std::optional<LinkTime> due =
      earlier(display_.nextDue(), runner_ ? runner_->nextDue() : std::nullopt);
  if (due) {
    timer_.at(*due, [this] {
      display_.advance();
      if (runner_) runner_->advance();
      isUsed();
    });
  } else {
    timer_.cancel();
  }
  tellWhenPlayed();
}

void LiveDisplay::tellWhenPlayed() {
  if (isPlayed_ || !runner_ || !runner_->isFinished()) return;
  const auto end = [this] {
    isPlayed_ = true;
    handlers_.onPlayed();
  };
  if (link_.isWritten()) return end();
  if (!lingerTimer_.isSet()) lingerTimer_.after(kMostLinger, end);
}

}  // namespace varno::tool
