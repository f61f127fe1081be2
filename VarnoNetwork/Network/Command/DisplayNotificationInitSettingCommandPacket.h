#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Initializes the display's notification settings.
class VARNO_EXPORT DisplayNotificationInitSettingCommandPacket
    : public TypedPacket<DisplayNotificationInitSettingCommandPacket, CommandPacket, 9, 6> {
 public:
  static constexpr std::string_view kTypeName = "DisplayNotificationInitSettingCommandPacket";
};

}  // namespace varno
