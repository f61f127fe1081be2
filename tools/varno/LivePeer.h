#pragma once

#include <VarnoDisplay/ScenarioPeer.h>
#include <VarnoLink/Link.h>
#include <VarnoLink/LinkLoop.h>
#include <VarnoLink/LinkTimer.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

namespace varno::tool {

// A scenario at the end of a link. On the loop's thread.
class LivePeer {
 public:
  struct Handlers {
    // The link can be used by the other side; once.
    std::function<void(const Address& address)> onReady;
    // It is down for a reason that is another than the last one.
    std::function<void(const std::string& reason)> onTrouble;
    // The scenario has ended, and what it sent has left; or, with a reason, there is no use in
    // going on: nobody can ever use the link.
    std::function<void(const std::string& reason)> onEnd;
    std::function<void(const TrafficRecord& record)> onRecord;
  };

  // scenario: outlives it.
  LivePeer(LinkLoop& loop, Address address, const Scenario& scenario, ScenarioOptions options,
           Handlers handlers);

  void start();

  const ScenarioResult& result() const { return peer_.result(); }

  // Bytes that the link did not take, as the other side reads too slowly.
  std::uint64_t refusedBytes() const { return refusedBytes_; }

 private:
  // What becomes of the link once all that was sent is written.
  enum class Ending : std::uint8_t { kNone, kClose, kReopen };

  LinkHandlers linkHandlers();
  void open();
  void onStatus(const LinkStatus& status);
  void hangUp(HangUp how);
  void endWhenWritten();
  void isUsed();

  LinkLoop& loop_;
  Address address_;
  Handlers handlers_;
  ScenarioPeer peer_;
  std::optional<Link> link_;
  LinkTimer timer_;
  LinkTimer endTimer_;
  Ending ending_ = Ending::kNone;
  bool isReady_ = false;
  bool hasEnded_ = false;
  std::string trouble_;
  std::uint64_t refusedBytes_ = 0;
};

}  // namespace varno::tool
