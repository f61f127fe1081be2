#pragma once

#include <VarnoNetwork/Network/EventPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Reports the connection of the serial link.
class VARNO_EXPORT UartConnectionEventPacket
    : public TypedPacket<UartConnectionEventPacket, EventPacket, 1, 1> {
 public:
  static constexpr std::string_view kTypeName = "UartConnectionEventPacket";
};

}  // namespace varno
