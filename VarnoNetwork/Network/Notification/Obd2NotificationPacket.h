#pragma once

#include <VarnoNetwork/Network/Notification/NotificationPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Shows a notice about OBD-II.
class VARNO_EXPORT Obd2NotificationPacket
    : public IdentifiedPacket<Obd2NotificationPacket, NotificationPacket, 13, 0> {
 public:
  static constexpr std::string_view kTypeName = "Obd2NotificationPacket";
};

}  // namespace varno
