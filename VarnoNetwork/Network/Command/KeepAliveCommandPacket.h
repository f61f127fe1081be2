#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Tells the display that the phone is still there.
class VARNO_EXPORT KeepAliveCommandPacket
    : public TypedPacket<KeepAliveCommandPacket, CommandPacket, 15, 0> {
 public:
  static constexpr std::string_view kTypeName = "KeepAliveCommandPacket";
};

}  // namespace varno
