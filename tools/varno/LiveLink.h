#pragma once

#include <VarnoLink/Link.h>
#include <VarnoLink/LinkLoop.h>
#include <VarnoLink/LinkTimer.h>
#include <VarnoLink/TrafficObserver.h>

#include <functional>
#include <span>
#include <string>
#include <vector>

namespace varno::tool {

// The link of a subcommand that has one. Tells on standard error when the other side can come, and
// what keeps the link from coming up; shows observers what is received. On the loop's thread.
class LiveLink {
 public:
  struct Handlers {
    std::function<void()> onUp;
    std::function<void()> onWritten;
  };

  // received: the direction of what comes from the other side. options: one that does not reconnect
  // ends the loop when it is down.
  LiveLink(LinkLoop& loop, Address address, Direction received, const LinkOptions& options,
           Handlers handlers);

  // observer: outlives the link.
  void addObserver(TrafficObserver& observer) { observers_.push_back(&observer); }

  Link& link() { return link_; }

  // Why it has ended the loop; empty where it has not.
  const std::string& failure() const { return failure_; }

 private:
  void onStatus(const LinkStatus& status);
  void onBytes(std::span<const std::uint8_t> bytes);
  // Reads no more while an observer is behind.
  void setReading();
  void onDown(const LinkStatus& status, bool wasUp);
  void record(RecordKind kind, const std::string& note);

  LinkLoop& loop_;
  const Direction received_;
  const bool reconnects_;
  const Handlers handlers_;
  Link link_;
  LinkTimer readingTimer_;
  bool isPaused_ = false;
  std::vector<TrafficObserver*> observers_;
  bool hasStood_ = false;  // listens, or has begun to connect
  bool isUp_ = false;
  std::string trouble_;
  std::string failure_;
};

}  // namespace varno::tool
