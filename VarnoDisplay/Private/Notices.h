#pragma once

#include <VarnoDisplay/Private/Effects.h>
#include <VarnoNetwork/Network/Command/DisplayNotificationSettingCommandPacket.h>
#include <VarnoNetwork/Network/Notification/NotificationPacket.h>

#include <vector>

// What notification packets do to a display.

namespace varno {

// The default table, every row switched on.
std::vector<NoticeSetting> initialNoticeSettings(const DisplayCodes& codes);

void setNoticeSetting(DisplayPanel& panel, const DisplayNotificationSettingCommandPacket& packet);

// A call, music and what the car tells take each other's place, and end with an empty packet.
void showCall(DisplayPanel& panel, const NotificationPacket& packet, LinkTime now);
void showMusic(DisplayPanel& panel, const NotificationPacket& packet, LinkTime now);
void showObd2(DisplayPanel& panel, const NotificationPacket& packet, LinkTime now);
void showMessage(DisplayPanel& panel, const NotificationPacket& packet, LinkTime now);

// The speed is no notice: switching off notices leaves it.
void showSpeed(DisplayPanel& panel, const NotificationPacket& packet);
void updateSpeedWarning(SpeedView& speed);

}  // namespace varno
