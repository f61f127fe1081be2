#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoNetwork/Network/PacketType.h>

#include <span>
#include <string_view>

namespace varno {

// What a packet of a type does to the DisplayState of a simulated display: one that the phone sent,
// or an event that the display did.
struct PacketEffect {
  PacketType type;
  // A clause: "shows or hides the speed"; where nothing is to be seen, why.
  std::string_view effect;
  bool isVisible = true;
};

// Those of all packet types of the library, by packet id.
VARNO_EXPORT std::span<const PacketEffect> packetEffects();

}  // namespace varno
