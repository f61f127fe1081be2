#pragma once

#include <VarnoDisplay/DisplayState.h>
#include <VarnoNetwork/Export.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace varno {

// One thing that changed on the display.
struct StateChange {
  std::int64_t time = 0;  // nanoseconds since the epoch
  // The field as a program writes it: "speed.isVisible". An element of a list is named by its key:
  // "bluetooth.devices[00:00:5E:00:53:01].isConnected".
  std::string path;
  // The values as the one-line notation has them. Where an element was added or taken away, all of
  // its fields, and the other side is empty.
  std::string before;
  std::string after;
  std::string cause;  // the packet's type; or "time", "link"

  bool operator==(const StateChange&) const = default;

  // One line: `speed.isVisible: false -> true (DisplaySpeedCommandPacket)`. What the phone sent is
  // escaped so that it drives no terminal; long values are shortened.
  VARNO_EXPORT std::string text() const;
};

// What differs between two states, in the order of their fields. Time and cause go into each.
VARNO_EXPORT std::vector<StateChange> changesBetween(const DisplayState& before,
                                                     const DisplayState& after, std::int64_t time,
                                                     std::string_view cause);

// As JSON, on one line. The state: an object for each part and record, an array for each list and
// set, in the order of the fields; 64-bit integers and floats that are not finite as strings;
// {"code":2,"meaning":"night"} for a code, "#39B1EE" for a color, null for an absent value.
// A change: {"time":"1500000000.104000000","path":...,"before":...,"after":...,"cause":...}.
// Bytes that are not UTF-8 cannot occur.
VARNO_EXPORT std::string jsonOf(const DisplayState& state);
VARNO_EXPORT std::string jsonOf(const StateChange& change);

}  // namespace varno
