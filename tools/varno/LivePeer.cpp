#include "tools/varno/LivePeer.h"

#include <chrono>
#include <utility>

namespace varno::tool {
namespace {

// How long the other side may take to read what was sent last.
constexpr std::chrono::seconds kMostLinger{2};

}  // namespace

LivePeer::LivePeer(LinkLoop& loop, Address address, const Scenario& scenario,
                   ScenarioOptions options, Handlers handlers)
    : loop_(loop),
      address_(std::move(address)),
      handlers_(std::move(handlers)),
      peer_(scenario, loop.clock(),
            {.onOutput =
                 [this](std::span<const std::uint8_t> bytes) {
                   if (!link_->send(bytes)) refusedBytes_ += bytes.size();
                 },
             .onHangUp = [this](HangUp how) { hangUp(how); },
             .onOpen = [this] { open(); },
             .onRecord = handlers_.onRecord},
            std::move(options)),
      timer_(loop),
      endTimer_(loop) {}

LinkHandlers LivePeer::linkHandlers() {
  return {.onStatus = [this](const LinkStatus& status) { onStatus(status); },
          .onBytes =
              [this](std::span<const std::uint8_t> bytes) {
                peer_.receive(bytes);
                isUsed();
              },
          .onWritten =
              [this](std::size_t, std::size_t) {
                endWhenWritten();
                isUsed();
              }};
}

void LivePeer::start() {
  open();
  peer_.start();
  isUsed();
}

void LivePeer::open() {
  if (ending_ != Ending::kNone) {
    ending_ = Ending::kReopen;
    return endWhenWritten();
  }
  // Anew, at the port that was taken the first time: the other side comes back there.
  link_.emplace(loop_, address_, LinkOptions(), linkHandlers());
  link_->open();
}

void LivePeer::onStatus(const LinkStatus& status) {
  if (status.state != LinkState::kDown) {
    if (!isReady_ && handlers_.onReady) handlers_.onReady(status.address);
    isReady_ = true;
    if (status.address.kind() == Address::Kind::kTcpListen) address_ = status.address;
  }
  if (status.state == LinkState::kUp) {
    trouble_.clear();
    peer_.linkUp();
  } else if (status.state == LinkState::kDown) {
    peer_.linkDown(status.reason);
    if (!isReady_ && status.address.isListening()) {
      hasEnded_ = true;
      if (handlers_.onEnd) handlers_.onEnd(status.reason);
      return;
    }
    if (!status.reason.empty() && status.reason != trouble_) {
      trouble_ = status.reason;
      if (handlers_.onTrouble) handlers_.onTrouble(trouble_);
    }
  }
  isUsed();
}

void LivePeer::hangUp(HangUp how) {
  ending_ = Ending::kClose;
  if (how == HangUp::kReset) link_->reset();
  endWhenWritten();
}

// What the link has not given to the system yet would be lost.
void LivePeer::endWhenWritten() {
  if (ending_ == Ending::kNone) return;
  if (link_->status().state == LinkState::kUp && link_->queuedBytes() > 0) return;
  const bool opens = std::exchange(ending_, Ending::kNone) == Ending::kReopen;
  link_->close();
  if (opens) open();
}

void LivePeer::isUsed() {
  if (hasEnded_) return;
  if (const std::optional<LinkTime> due = peer_.nextDue()) {
    timer_.at(*due, [this] {
      peer_.advance();
      isUsed();
    });
  } else {
    timer_.cancel();
  }
  if (!peer_.isFinished()) return;
  const auto end = [this] {
    hasEnded_ = true;
    if (handlers_.onEnd) handlers_.onEnd({});
  };
  if (peer_.isIdle() && link_->queuedBytes() == 0) return end();
  if (!endTimer_.isSet()) endTimer_.after(kMostLinger, end);
}

}  // namespace varno::tool
