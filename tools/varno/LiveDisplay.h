#pragma once

#include <VarnoDisplay/SimulatedDisplay.h>
#include <VarnoLink/Link.h>
#include <VarnoLink/LinkLoop.h>
#include <VarnoLink/LinkTimer.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

namespace varno::tool {

// A simulated display at the end of a link. On the loop's thread.
class LiveDisplay {
 public:
  struct Handlers {
    // The link can be used by the other side, at this address; once.
    std::function<void(const Address& address)> onReady;
    // It is down for a reason that is another than the last one.
    std::function<void(const std::string& reason)> onTrouble;
    // Bytes came, or it was time for something: what the display did is done.
    std::function<void()> onDone;
    // As those of the display.
    std::function<bool(std::span<const std::uint8_t> frame,
                       const std::shared_ptr<HudPacket>& packet)>
        onFrame;
    std::function<void(const StateChange& change)> onChange;
    std::function<void(const TrafficRecord& record)> onRecord;
  };

  LiveDisplay(LinkLoop& loop, Address address, DisplayOptions options, Handlers handlers);

  void open() { link_.open(); }

  SimulatedDisplay& display() { return display_; }
  Link& link() { return link_; }

  // To be called after the display was used by others than its handlers.
  void isUsed();

  // Bytes that the link did not take, as the phone reads too slowly.
  std::uint64_t refusedBytes() const { return refusedBytes_; }

 private:
  DisplayHandlers wiring();
  LinkHandlers linkHandlers();
  void onStatus(const LinkStatus& status);
  void onOutput(std::span<const std::uint8_t> bytes);
  void hangUp(HangUp how);
  void hangUpWhenWritten();

  Handlers handlers_;
  SimulatedDisplay display_;
  Link link_;
  LinkTimer timer_;
  bool isReady_ = false;
  bool hangsUp_ = false;
  std::string trouble_;
  std::uint64_t refusedBytes_ = 0;
};

}  // namespace varno::tool
