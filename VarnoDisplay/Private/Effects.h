#pragma once

#include <VarnoDisplay/DisplayOptions.h>
#include <VarnoDisplay/DisplayState.h>
#include <VarnoLink/Clock.h>
#include <VarnoNetwork/Network/HudPacket.h>
#include <VarnoNetwork/Network/HudString.h>

#include <cstdint>
#include <optional>
#include <string>

namespace varno {

// What packets act on.
struct DisplayPanel {
  explicit DisplayPanel(const DisplayOptions& displayOptions);

  // The state of a display that was just switched on; what is told of the link stays.
  void restart();

  // Shows nothing any more whose time is over.
  void removeTimedOut(LinkTime now);
  std::optional<LinkTime> nextTimeOut() const;

  // Applies the packet, whoever sent it. Without effect for a type that is not the library's.
  void apply(const HudPacket& packet, LinkTime now);

  const DisplayOptions& options;
  DisplayState state;
  std::int32_t lastNotice = 0;
};

// An absent text shows as an empty one.
inline std::string presentText(const HudString& text) { return text.value_or(std::string()); }

}  // namespace varno
