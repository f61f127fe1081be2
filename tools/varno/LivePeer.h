#pragma once

#include "tools/varno/PeerLink.h"

#include <VarnoDisplay/ScenarioPeer.h>
#include <VarnoLink/LinkLoop.h>
#include <VarnoLink/LinkTimer.h>

#include <cstdint>
#include <functional>
#include <string>

namespace varno::tool {

// A scenario at the end of a link. On the loop's thread.
class LivePeer {
 public:
  struct Handlers {
    std::function<void(const Address& address)> onReady;  // these two as those of PeerLink
    std::function<void(const std::string& reason)> onTrouble;
    // The scenario has ended, and what it sent has left; or, with a reason, there is no use in
    // going on: nobody can ever use the link.
    std::function<void(const std::string& reason)> onEnd;
    std::function<void(const TrafficRecord& record)> onRecord;
  };

  // scenario: outlives it.
  LivePeer(LinkLoop& loop, Address address, const Scenario& scenario,
           const ScenarioOptions& options, Handlers handlers);

  void start();

  const ScenarioResult& result() const { return peer_.result(); }

  std::uint64_t refusedBytes() const { return link_.refusedBytes(); }

 private:
  ScenarioPeerHandlers peerHandlers();
  PeerLink::Handlers linkHandlers();
  void isUsed();
  void end(const std::string& reason);

  Handlers handlers_;
  ScenarioPeer peer_;
  PeerLink link_;
  LinkTimer timer_;
  LinkTimer endTimer_;
  bool staysDown_ = false;
  bool hasEnded_ = false;
};

}  // namespace varno::tool
