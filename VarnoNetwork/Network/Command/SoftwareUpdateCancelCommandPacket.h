#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Cancels a software update.
class VARNO_EXPORT SoftwareUpdateCancelCommandPacket
    : public TypedPacket<SoftwareUpdateCancelCommandPacket, CommandPacket, 10, 2> {
 public:
  static constexpr std::string_view kTypeName = "SoftwareUpdateCancelCommandPacket";
};

}  // namespace varno
