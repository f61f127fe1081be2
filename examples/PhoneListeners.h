#pragma once

#include <VarnoNetwork/VarnoNetwork.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <string>

namespace varno::example {

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

  bool isEmpty() const { return packets_.empty(); }
  std::int64_t received() const { return received_; }

 private:
  std::deque<std::shared_ptr<HudPacket>> packets_;
  std::int64_t received_ = 0;
};

// Registered with a filter for the one packet type that it shows.
class WifiIndicator : public PacketHandleDelegate {
 public:
  void onPacketReceived(const std::shared_ptr<HudPacket>& packet) override {
    const auto& status = dynamic_cast<const WifiStationStatusEventPacket&>(*packet);
    address_ = status.ipAddress().value_or("");
    HudLog::write("   Wi-Fi indicator: the display's address is " + address_);
  }

  const std::string& address() const { return address_; }

 private:
  std::string address_;
};

}  // namespace varno::example
