#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Checks the serial link to the display.
class VARNO_EXPORT UartConnectionCheckCommandPacket
    : public TypedPacket<UartConnectionCheckCommandPacket, CommandPacket, 6, 0> {
 public:
  static constexpr std::string_view kTypeName = "UartConnectionCheckCommandPacket";
};

}  // namespace varno
