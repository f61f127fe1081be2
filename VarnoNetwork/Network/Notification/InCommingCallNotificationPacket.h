#pragma once

#include <VarnoNetwork/Network/Notification/NotificationPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Announces an incoming call. Its name is spelled so on purpose.
class VARNO_EXPORT InCommingCallNotificationPacket
    : public IdentifiedPacket<InCommingCallNotificationPacket, NotificationPacket, 1, 0> {
 public:
  static constexpr std::string_view kTypeName = "InCommingCallNotificationPacket";
};

}  // namespace varno
