#pragma once

#include "tools/page/PageServer.h"

#include <VarnoDisplay/SimulatedDisplay.h>
#include <VarnoLink/Clock.h>
#include <VarnoTraffic/TrafficRecord.h>

#include <cstdint>

namespace varno::tool {

// A display that only looks on: what passed says what it shows, and when. The page shows what it
// would show. One thread at a time.
class PageDisplay {
 public:
  // page: outlives it.
  explicit PageDisplay(PageServer& page);

  // The next record, with its number in the page.
  void pass(const TrafficRecord& record, std::uint64_t number);

  // It is this late by now: notices time out without a record.
  void advanceTo(LinkTime time);

 private:
  void apply(const TrafficRecord& record);
  void tell(std::optional<std::uint64_t> number);

  PageServer& page_;
  ManualClock clock_;
  SimulatedDisplay display_;
  bool hasChanged_ = true;
};

}  // namespace varno::tool
