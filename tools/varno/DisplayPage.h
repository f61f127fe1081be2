#pragma once

#include "tools/page/PageServer.h"

#include <VarnoDisplay/SimulatedDisplay.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace varno::tool {

// The page of a simulated display: shows what passes and what the driver sees, and does at the
// display what is wanted at the page. One thread, that of the display:
//
//   DisplayPage page(display, options, link);
//   handlers.onRecord = [&](const TrafficRecord& record) { page.onRecord(record); };
//   handlers.onChange = [&](const StateChange& change) { page.onChange(change); };
//   ...
//   page.tell();  // after each operation of the display
//
// options.onCommand has that thread call doCommands().
class DisplayPage {
 public:
  // What the page does at the link itself.
  struct LinkActions {
    std::function<void()> open;
    std::function<void()> close;  // and stay down
    std::function<void()> reset;
  };

  // display: outlives the page. Sets in the options what a display can do.
  DisplayPage(SimulatedDisplay& display, PageOptions options, LinkActions link);

  const std::string& address() const { return server_.address(); }

  void onRecord(const TrafficRecord& record);
  void onChange(const StateChange& change);
  void setLink(const PageLink& link) { server_.setLinks({link}); }

  // Tells the page what is new at the display.
  void tell();

  void doCommands();

 private:
  std::string perform(const PageCommand& command);
  void put(const PageCommand& command, const Fault& fault);
  void clearFaults(std::optional<Direction> direction);
  void tellFaults();

  SimulatedDisplay& display_;
  LinkActions link_;
  PageServer server_;
  std::uint64_t record_ = 0;           // the last one
  std::optional<StateChange> change_;  // the last one that was not told
  std::optional<std::uint64_t> cause_;
};

// The kinds of faults, as PageOptions::faultKinds has them.
std::string faultKindsJson();

}  // namespace varno::tool
