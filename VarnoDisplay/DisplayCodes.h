#pragma once

#include <VarnoDisplay/DisplayState.h>
#include <VarnoNetwork/Export.h>

#include <cstdint>
#include <map>
#include <string>

namespace varno {

// What the numbers mean that the protocol carries without saying what they mean. Only the speed
// units, the phone's platforms, and the icons of the default table are the protocol's own;
// EVERYTHING ELSE HERE IS CHOSEN, as a display might have it. Who knows better replaces it.
struct DisplayCodes {
  using Meanings = std::map<std::int32_t, std::string>;

  // Chosen.
  Meanings themes = {{0, "automatic"}, {1, "day"}, {2, "night"}};
  Meanings resets = {{0, "restart"}, {1, "restart"}, {2, "factory settings"}};
  Meanings wifiSecurities = {{0, "open"}, {1, "WEP"}, {2, "WPA2"}, {3, "WPA3"}};
  Meanings wifiStatuses = {{0, "not connected"}, {1, "connected"}, {2, "failed"}};
  Meanings bluetoothStatuses = {{0, "off"}, {1, "on"}};
  Meanings bluetoothEvents = {{0, "disconnected"}, {1, "connected"}, {2, "failed"}};
  Meanings pairings = {{0, "just works"}, {1, "PIN"}, {2, "passkey"}};

  // Of the icons 1 to 16: the apps of the default table of
  // DisplayNotificationSettingCommandPacket.
  Meanings icons = {{1, "call"},   {2, "sms"},      {3, "music"},    {4, "email"},
                    {5, "obd2"},   {6, "talk"},     {7, "whatsapp"}, {8, "messenger"},
                    {9, "wechat"}, {10, "line"},    {11, "skype"},   {12, "viber"},
                    {13, "tango"}, {14, "nimbuzz"}, {15, "kik"},     {16, "telegram"}};

  // Chosen: the brightness that is full.
  std::int32_t fullBrightness = 255;

  // Chosen: the time-out of notices is in seconds, a speed warning in the speed's unit, the size of
  // an update in bytes; a layout size of 0 stands for the size as delivered, 1, and a keystone of
  // -1 to 1 for the whole correction one way or the other.

  // The protocol's own: 0 is "km/h", all else "mp/h"; 0 is "android", all else "ios".
  VARNO_EXPORT static std::string speedUnit(std::int32_t code);
  VARNO_EXPORT static std::string phone(std::int32_t code);

  // Chosen: 0xAARRGGBB, as the default table of the notices suggests; AA does not matter, since
  // light is all that a head-up display has.
  VARNO_EXPORT static DisplayColor color(std::int32_t word);

  // 0 to 100.
  VARNO_EXPORT std::int32_t brightnessPercent(std::int32_t brightness) const;

  // The code with what it means by one of the tables above.
  VARNO_EXPORT static DisplayCode codeOf(std::int32_t code, const Meanings& meanings);
};

}  // namespace varno
