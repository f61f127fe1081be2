#pragma once

#include <VarnoNetwork/Network/Notification/NotificationPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Shows what music plays.
class VARNO_EXPORT MusicNotificationPacket
    : public IdentifiedPacket<MusicNotificationPacket, NotificationPacket, 12, 0> {
 public:
  static constexpr std::string_view kTypeName = "MusicNotificationPacket";
};

}  // namespace varno
