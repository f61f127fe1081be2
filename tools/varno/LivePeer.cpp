#include "tools/varno/LivePeer.h"

#include <chrono>
#include <utility>

namespace varno::tool {

LivePeer::LivePeer(LinkLoop& loop, Address address, const Scenario& scenario,
                   const ScenarioOptions& options, Handlers handlers)
    : handlers_(std::move(handlers)),
      peer_(scenario, loop.clock(), peerHandlers(), options),
      link_(loop, std::move(address), linkHandlers()),
      timer_(loop),
      endTimer_(loop) {}

ScenarioPeerHandlers LivePeer::peerHandlers() {
  return {.onOutput = [this](std::span<const std::uint8_t> bytes) { link_.send(bytes); },
          .onHangUp =
              [this](HangUp how) {
                staysDown_ = true;
                link_.close(how);
              },
          .onOpen =
              [this] {
                if (std::exchange(staysDown_, false)) link_.open();
              },
          .onRecord = handlers_.onRecord};
}

PeerLink::Handlers LivePeer::linkHandlers() {
  return {.onReady = handlers_.onReady,
          .onTrouble = handlers_.onTrouble,
          .onUseless = [this](const std::string& reason) { end(reason); },
          .onUp =
              [this] {
                peer_.linkUp();
                isUsed();
              },
          .onDown =
              [this](const std::string& reason) {
                peer_.linkDown(reason);
                isUsed();
              },
          .onBytes =
              [this](std::span<const std::uint8_t> bytes) {
                peer_.receive(bytes);
                isUsed();
              },
          .onWritten = [this] { isUsed(); }};
}

void LivePeer::start() {
  link_.open();
  peer_.start();
  isUsed();
}

void LivePeer::end(const std::string& reason) {
  hasEnded_ = true;
  handlers_.onEnd(reason);
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
  if (peer_.isIdle() && link_.isWritten()) return end({});
  if (!endTimer_.isSet()) endTimer_.after(PeerLink::kMostLinger, [this] { end({}); });
}

}  // namespace varno::tool
