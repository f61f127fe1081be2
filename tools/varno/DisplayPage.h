#pragma once

#include "tools/page/PageServer.h"
#include "tools/varno/LiveDisplay.h"

#include <VarnoTraffic/PacketDirectory.h>

#include <cstdint>
#include <optional>
#include <string>

namespace varno::tool {

// The page of a simulated display at the end of a link: shows what passes and what the driver sees,
// and does what is wanted at the page. On the loop's thread. From the display's handlers it is told
// what passes and changes, and from onDone that this is all.
class DisplayPage {
 public:
  // The options say what a display can do besides. loop, live: outlive the page.
  DisplayPage(LinkLoop& loop, LiveDisplay& live, PageOptions options);

  const std::string& address() const { return server_.address(); }

  // Where the phone is, or is to come.
  void setAddress(const std::string& text);

  void onRecord(const TrafficRecord& record);
  void onChange(const StateChange& change);
  void onDone();

 private:
  PageOptions completed(LinkLoop& loop, PageOptions options);
  void doCommands();
  // Returns why it was not done.
  std::string perform(const PageCommand& command);
  std::string causeIn(const TrafficRecord& record) const;
  void settle(std::optional<std::uint64_t> record);
  void put(const PageCommand& command, const Fault& fault);
  void clearFaults(const PageCommand& command);

  LiveDisplay& live_;
  std::string linkAddress_;
  // What changed before the record of the packet that did it was there: of one that is sent.
  struct Change {
    SeenState state;
    std::int64_t time;
    std::string cause;
  };

  PacketDirectory directory_;
  std::uint64_t record_ = 0;  // the last one, and what changes by it have as their cause
  std::string cause_;
  std::uint64_t toldRecord_ = 0;  // whose changes the page has
  std::optional<Change> pending_;
  PageServer server_;
};

}  // namespace varno::tool
