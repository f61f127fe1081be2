#pragma once

#include <VarnoNetwork/VarnoNetwork.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

namespace varno::example {

inline void require(bool isTrue, const std::string& what) {
  if (!isTrue) throw std::runtime_error(what);
}

// A packet with one property set.
template <class Packet, class Value>
Packet with(void (Packet::*set)(Value), std::type_identity_t<Value> value) {
  Packet packet;
  (packet.*set)(std::move(value));
  return packet;
}

// Registered without a filter: keeps every packet until the application takes it. Like all
// listeners it runs on the main thread, so it needs no lock.
class Inbox : public PacketHandleDelegate {
 public:
  void onPacketReceived(const std::shared_ptr<HudPacket>& packet) override {
    HudLog::write("<- " + packet->description());
    packets_.push_back(packet);
    ++received_;
  }

  // Takes the first packet of the type; null where there is none.
  template <class Packet>
  std::shared_ptr<Packet> take() {
    for (auto at = packets_.begin(); at != packets_.end(); ++at) {
      if (auto packet = std::dynamic_pointer_cast<Packet>(*at)) {
        packets_.erase(at);
        return packet;
      }
    }
    return nullptr;
  }

  std::int64_t received() const { return received_; }

 private:
  std::deque<std::shared_ptr<HudPacket>> packets_;
  std::int64_t received_ = 0;
};

}  // namespace varno::example
