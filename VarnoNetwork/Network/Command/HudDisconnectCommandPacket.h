#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Tells the display to disconnect.
class VARNO_EXPORT HudDisconnectCommandPacket
    : public TypedPacket<HudDisconnectCommandPacket, CommandPacket, 12, 0> {
 public:
  static constexpr std::string_view kTypeName = "HudDisconnectCommandPacket";
};

}  // namespace varno
