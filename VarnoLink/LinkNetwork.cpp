#include <VarnoLink/LinkNetwork.h>
#include <VarnoLink/Private/NetworkLink.h>

#include <utility>

namespace varno {
namespace {

// What sendPacket was given along with the packet, on its way through HudNetwork::sendPacket.
struct Given {
  const LinkNetwork* network;
  LinkNetwork::OnGiven onGiven;
};
constinit thread_local Given* givenNow = nullptr;

}  // namespace

LinkNetwork::LinkNetwork(const Address& address, LinkNetworkOptions options)
    : link_(NetworkLink::make(*this, address, std::move(options))) {}

LinkNetwork::LinkNetwork(int descriptor, LinkNetworkOptions options)
    : link_(NetworkLink::make(*this, descriptor, std::move(options))) {}

LinkNetwork::~LinkNetwork() { link_->stop(); }

void LinkNetwork::start() { link_->start(); }

void LinkNetwork::stop() noexcept {
  const std::shared_ptr<NetworkLink> link = link_;  // what is dropped may destroy this object
  link->stop();
}

bool LinkNetwork::flush(std::chrono::milliseconds timeout) { return link_->flush(timeout); }

bool LinkNetwork::sendPacket(const HudPacket& packet, OnGiven onGiven) noexcept {
  Given given{this, std::move(onGiven)};
  Given* const before = std::exchange(givenNow, &given);
  const bool isSent = HudNetwork::sendPacket(packet);
  givenNow = before;
  return isSent;
}

LinkStatus LinkNetwork::status() const { return link_->status(); }

LinkNetworkCounters LinkNetwork::linkCounters() const { return link_->counters(); }

std::uint64_t LinkNetwork::addFault(Direction direction, const Fault& fault) {
  return link_->way(direction).add(fault);
}

bool LinkNetwork::removeFault(Direction direction, std::uint64_t id) {
  return link_->way(direction).remove(id);
}

void LinkNetwork::clearFaults() {
  for (const Direction direction : {Direction::kToDisplay, Direction::kToPhone}) {
    link_->way(direction).clear();
  }
}

std::vector<FaultStage::Entry> LinkNetwork::faults(Direction direction) const {
  return link_->way(direction).entries();
}

std::optional<bool> LinkNetwork::sendBorrowedFrame(std::span<const std::uint8_t> frame) {
  OnGiven onGiven;
  if (givenNow != nullptr && givenNow->network == this) onGiven = std::move(givenNow->onGiven);
  return link_->send(frame, std::move(onGiven));
}

bool LinkNetwork::sendPacketImpl(std::vector<std::uint8_t> frame) { return link_->send(frame, {}); }

}  // namespace varno
