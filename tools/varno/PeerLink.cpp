#include "tools/varno/PeerLink.h"

#include <chrono>
#include <utility>

namespace varno::tool {

PeerLink::PeerLink(LinkLoop& loop, Address address, Handlers handlers)
    : loop_(loop), address_(std::move(address)), handlers_(std::move(handlers)), timer_(loop) {}

LinkHandlers PeerLink::linkHandlers() {
  return {.onStatus = [this](const LinkStatus& status) { onStatus(status); },
          .onBytes = [this](std::span<const std::uint8_t> bytes) { handlers_.onBytes(bytes); },
          .onWritten =
              [this](std::size_t, std::size_t) {
                endWhenWritten();
                if (isWritten()) handlers_.onWritten();
              }};
}

void PeerLink::open() {
  if (ending_ != Ending::kNone) {
    ending_ = Ending::kReopen;
    return;
  }
  // Anew, at the port that was taken the first time: the other side comes back there.
  link_.emplace(loop_, address_, LinkOptions(), linkHandlers());
  link_->open();
}

void PeerLink::send(std::span<const std::uint8_t> bytes) {
  if (!link_->send(bytes)) refusedBytes_ += bytes.size();
}

void PeerLink::onStatus(const LinkStatus& status) {
  if (status.state == LinkState::kDown) return onDown(status);
  if (status.address.kind() == Address::Kind::kTcpListen) address_ = status.address;
  if (!isReady_) {
    isReady_ = true;
    handlers_.onReady(status.address.isListening() ? status.address.counterpart() : status.address);
  }
  if (status.state != LinkState::kUp) return;
  trouble_.clear();
  isEnding_ = false;
  wasUp_ = true;
  handlers_.onUp();
}

void PeerLink::onDown(const LinkStatus& status) {
  const std::string reason = status.reason;
  if (ending_ == Ending::kComeBack) {
    ending_ = Ending::kNone;
    timer_.cancel();
  }
  if (std::exchange(isEnding_, false)) return;
  if (std::exchange(wasUp_, false)) return handlers_.onDown(reason);
  if (!isReady_ && status.address.isListening()) {
    link_->close();
    handlers_.onUseless(reason);
  } else if (!reason.empty() && reason != trouble_) {
    trouble_ = reason;
    handlers_.onTrouble(reason);
  }
}

void PeerLink::end(HangUp how, Ending ending) {
  if (!link_) return;
  ending_ = ending;
  if (how == HangUp::kReset) {
    isEnding_ = true;
    link_->reset();
    return endNow();
  }
  timer_.after(kMostLinger, [this] { endNow(); });
  endWhenWritten();
}

// What the link has not given to the system yet would be lost.
void PeerLink::endWhenWritten() {
  if (ending_ != Ending::kNone && isWritten()) endNow();
}

void PeerLink::endNow() {
  timer_.cancel();
  wasUp_ = false;
  const Ending ending = std::exchange(ending_, Ending::kNone);
  if (ending == Ending::kComeBack) {
    isEnding_ = isEnding_ || link_->status().state == LinkState::kUp;
    link_->hangUp();
  } else {
    link_->close();
    if (ending == Ending::kReopen) open();
  }
}

}  // namespace varno::tool
