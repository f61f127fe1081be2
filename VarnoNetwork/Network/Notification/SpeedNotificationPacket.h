#pragma once

#include <VarnoNetwork/Network/Notification/NotificationPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Shows a notice about speed.
class VARNO_EXPORT SpeedNotificationPacket
    : public IdentifiedPacket<SpeedNotificationPacket, NotificationPacket, 14, 0> {
 public:
  static constexpr std::string_view kTypeName = "SpeedNotificationPacket";
};

}  // namespace varno
