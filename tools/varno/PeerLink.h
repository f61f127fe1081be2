#pragma once

#include <VarnoDisplay/SimulatedDisplay.h>
#include <VarnoLink/Link.h>
#include <VarnoLink/LinkLoop.h>
#include <VarnoLink/LinkTimer.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

namespace varno::tool {

// A link at which a simulated end stands: what was sent goes out before it hangs up, and it comes
// back at the same place. On the loop's thread.
class PeerLink {
 public:
  // How long the other side may take to read what was sent last.
  static constexpr std::chrono::seconds kMostLinger{2};

  struct Handlers {
    // The link can be used by the other side, at this address; once.
    std::function<void(const Address& address)> onReady;
    // It cannot be, for a reason that is another than the last one; it is tried again.
    std::function<void(const std::string& reason)> onTrouble;
    // It never can be: no place to listen. The link stays down.
    std::function<void(const std::string& reason)> onUseless;
    std::function<void()> onUp;
    std::function<void(const std::string& reason)> onDown;
    std::function<void(std::span<const std::uint8_t> bytes)> onBytes;
    // All that was sent has been given to the system.
    std::function<void()> onWritten;
  };

  PeerLink(LinkLoop& loop, Address address, Handlers handlers);

  // The first time, and after close(): as soon as that has ended.
  void open();

  void send(std::span<const std::uint8_t> bytes);

  // Ends the connection, and waits for the next one.
  void hangUp(HangUp how) { end(how, Ending::kComeBack); }

  // Ends it, and stays down until open(); onDown is not called.
  void close(HangUp how) { end(how, Ending::kStayDown); }

  bool isWritten() const { return !link_ || link_->queuedBytes() == 0; }

  // Bytes that the link did not take, as the other side reads too slowly.
  std::uint64_t refusedBytes() const { return refusedBytes_; }

 private:
  enum class Ending : std::uint8_t { kNone, kComeBack, kStayDown, kReopen };

  LinkHandlers linkHandlers();
  void onStatus(const LinkStatus& status);
  void onDown(const LinkStatus& status);
  void end(HangUp how, Ending ending);
  void endWhenWritten();
  void endNow();

  LinkLoop& loop_;
  Address address_;
  Handlers handlers_;
  std::optional<Link> link_;
  LinkTimer timer_;
  Ending ending_ = Ending::kNone;
  bool isReady_ = false;
  bool wasUp_ = false;
  bool isEnding_ = false;  // by this side, which the link is still to tell
  std::string trouble_;
  std::uint64_t refusedBytes_ = 0;
};

}  // namespace varno::tool
