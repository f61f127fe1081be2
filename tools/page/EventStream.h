#pragma once

#include "tools/page/PageHub.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace varno::tool {

// What one viewer is told, as server-sent events. A viewer has nothing but its place in the records
// and changes: one that reads slowly costs no memory, and is told what it missed.
//
//   hello    once: the session, what the tool can do, which records there are
//   state    once: what the driver sees, and the last changes
//   records  {"first": the first that is kept, "rows": [...]}
//   changes  an array of changes
//   status   links and faults
//
// Each has the id "SESSION.RECORD.CHANGE", from which a viewer goes on after a break.
class EventStream {
 public:
  // lastId: what the viewer had last; anything else than such an id begins anew. Counts as a viewer
  // of the hub while it lives, unless there are as many as may be.
  EventStream(PageHub& hub, std::string_view lastId, std::size_t maxViewers);
  ~EventStream();
  EventStream(const EventStream&) = delete;
  EventStream& operator=(const EventStream&) = delete;

  // False where there are too many others: it tells nothing then.
  bool hasSeat() const { return hasSeat_; }

  // The next events; waits for some, and gives a comment where nothing happens for a while, by
  // which a viewer that left is noticed. None once the server stops.
  std::optional<std::string> next();

 private:
  void append(std::string& text, std::string_view event, std::string_view data) const;
  bool hasNews() const;
  void appendRecords(std::string& text);
  void appendState(std::string& text);
  void appendChanges(std::string& text);
  // Brings the log up to date.
  void catchUp();

  PageHub& hub_;
  bool hasSeat_ = false;
  bool isGreeted_ = false;
  bool isBegun_ = false;
  bool isFull_ = false;  // the last batch did not hold all there was
  std::uint64_t record_ = 0;
  std::uint64_t change_ = 0;
  std::uint64_t statusVersion_ = 0;
};

}  // namespace varno::tool
