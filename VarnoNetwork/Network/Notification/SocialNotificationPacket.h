#pragma once

#include <VarnoNetwork/Network/Notification/NotificationPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Shows a notice of a social or messaging app.
class VARNO_EXPORT SocialNotificationPacket
    : public IdentifiedPacket<SocialNotificationPacket, NotificationPacket, 4, 0> {
 public:
  static constexpr std::string_view kTypeName = "SocialNotificationPacket";
};

}  // namespace varno
