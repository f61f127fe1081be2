#pragma once

#include <VarnoDisplay/DisplayFields.h>
#include <VarnoLink/Clock.h>
#include <VarnoNetwork/Export.h>
#include <VarnoNetwork/Network/FieldVisitor.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What a driver sees, as values. Texts that arrived absent are empty here. A LinkTime is a moment
// by the display's Clock, as in traffic records. No field holds a secret.

namespace varno {

// A color as it is drawn.
struct DisplayColor {
  std::uint8_t red = 0xFF;
  std::uint8_t green = 0xFF;
  std::uint8_t blue = 0xFF;

  bool operator==(const DisplayColor&) const = default;

  VARNO_EXPORT std::string text() const;  // "#39B1EE"
};

// A number that came over the wire, and what it means by DisplayCodes.
struct DisplayCode {
  std::int32_t code = 0;
  std::string meaning = {};  // empty where the table has none

  bool operator==(const DisplayCode&) const = default;

  VARNO_EXPORT std::string text() const;  // "2 (night)"
};

// The link to the phone, and who is behind it.
struct LinkView {
  bool isUp = false;
  bool isPhoneAlive = false;          // a keep-alive came, and none is overdue
  std::int32_t missedKeepAlives = 0;  // since the link came up
  DisplayCode phone = {};             // its platform
  bool saidGoodbye = false;           // the phone announced that it disconnects
  std::int32_t lineChecks = 0;        // of the serial line, since the link came up
  bool isAppStarted = false;          // as the display told the phone
  bool isAppConnected = false;        // as the display told the phone

  template <class Visit, class... Self>
  static void walk(Visit& visit, Self&... self) {
    visit("isUp", self.isUp...);
    visit("isPhoneAlive", self.isPhoneAlive...);
    visit("missedKeepAlives", self.missedKeepAlives...);
    visit("phone", self.phone...);
    visit("saidGoodbye", self.saidGoodbye...);
    visit("lineChecks", self.lineChecks...);
    visit("isAppStarted", self.isAppStarted...);
    visit("isAppConnected", self.isAppConnected...);
  }
};

// The time of day as it was set. It goes on by itself: at `now` it is time + (now - setAt).
struct ClockReading {
  std::chrono::sys_time<std::chrono::milliseconds> time = {};
  LinkTime setAt = {};

  bool operator==(const ClockReading&) const = default;

  VARNO_EXPORT std::string text() const;  // "2017-07-14T02:40:00Z"
};

// The clock and the date.
struct ClockView {
  bool isVisible = false;
  std::optional<ClockReading> reading = {};  // none before it was set
  std::string timeZone = {};                 // as "GMT" or "Europe/Berlin"

  template <class Visit, class... Self>
  static void walk(Visit& visit, Self&... self) {
    visit("isVisible", self.isVisible...);
    visit("reading", self.reading...);
    visit("timeZone", self.timeZone...);
  }
};

// The speed, which the phone sends as a text, and how it is shown.
struct SpeedView {
  bool isVisible = false;
  std::string text = {};                   // as the phone sent it; empty before it did
  std::optional<std::int32_t> value = {};  // where the text is a whole number
  std::string unit = "km/h";
  DisplayColor color = {};
  bool isGaugeVisible = true;
  std::int32_t warningAt = 0;  // 0 or less: never
  bool isWarning = false;      // the speed has reached warningAt

  template <class Visit, class... Self>
  static void walk(Visit& visit, Self&... self) {
    visit("isVisible", self.isVisible...);
    visit("text", self.text...);
    visit("value", self.value...);
    visit("unit", self.unit...);
    visit("color", self.color...);
    visit("isGaugeVisible", self.isGaugeVisible...);
    visit("warningAt", self.warningAt...);
    visit("isWarning", self.isWarning...);
  }
};

// A text of an app with its icon.
struct NoticeView {
  std::int32_t id = 0;    // counts up from 1
  std::string kind = {};  // "call", "social", "music", "obd2"
  DisplayCode icon = {};
  DisplayColor color = {};
  std::string packageName = {};
  std::string title = {};
  std::string message = {};
  LinkTime shownAt = {};
  std::optional<LinkTime> goesAt = {};  // when it times out; none: never

  std::string key() const { return std::to_string(id); }

  template <class Visit, class... Self>
  static void walk(Visit& visit, Self&... self) {
    visit("id", self.id...);
    visit("kind", self.kind...);
    visit("icon", self.icon...);
    visit("color", self.color...);
    visit("packageName", self.packageName...);
    visit("title", self.title...);
    visit("message", self.message...);
    visit("shownAt", self.shownAt...);
    visit("goesAt", self.goesAt...);
  }
};

// How the notices of some apps are shown.
struct NoticeSetting {
  DisplayCode icon = {};
  bool isEnabled = false;
  DisplayColor color = {};
  StringSet packageNames = {};

  std::string key() const { return std::to_string(icon.code); }

  template <class Visit, class... Self>
  static void walk(Visit& visit, Self&... self) {
    visit("icon", self.icon...);
    visit("isEnabled", self.isEnabled...);
    visit("color", self.color...);
    visit("packageNames", self.packageNames...);
  }
};

// What apps notified the driver of, and what is said of that.
struct NoticesView {
  bool isEnabled = true;
  std::int32_t timeoutSeconds = 10;     // 0 or less: none times out
  std::vector<NoticeView> shown = {};   // messages of apps, the oldest first
  std::optional<NoticeView> call = {};  // the one that comes in
  std::optional<NoticeView> music = {};
  std::optional<NoticeView> obd2 = {};
  std::int32_t hidden = 0;                   // how many were not shown: they are switched off
  std::vector<NoticeSetting> settings = {};  // by icon

  template <class Visit, class... Self>
  static void walk(Visit& visit, Self&... self) {
    visit("isEnabled", self.isEnabled...);
    visit("timeoutSeconds", self.timeoutSeconds...);
    visit("shown", self.shown...);
    visit("call", self.call...);
    visit("music", self.music...);
    visit("obd2", self.obd2...);
    visit("hidden", self.hidden...);
    visit("settings", self.settings...);
  }
};

// How the picture stands on the windshield.
struct PictureView {
  DisplayCode theme = {};
  bool isBacklightOn = true;
  std::int32_t minBrightness = 0;         // as the phone sent it
  std::int32_t minBrightnessPercent = 0;  // 0 to 100
  bool showsBrightnessSetting = false;
  std::int32_t castMinBrightness = 0;  // the same while the phone's screen is cast
  std::int32_t castMinBrightnessPercent = 0;
  bool showsCastBrightnessSetting = false;
  float keystone = 0;
  float layoutSize = 0;
  bool isFullScreen = false;

  template <class Visit, class... Self>
  static void walk(Visit& visit, Self&... self) {
    visit("theme", self.theme...);
    visit("isBacklightOn", self.isBacklightOn...);
    visit("minBrightness", self.minBrightness...);
    visit("minBrightnessPercent", self.minBrightnessPercent...);
    visit("showsBrightnessSetting", self.showsBrightnessSetting...);
    visit("castMinBrightness", self.castMinBrightness...);
    visit("castMinBrightnessPercent", self.castMinBrightnessPercent...);
    visit("showsCastBrightnessSetting", self.showsCastBrightnessSetting...);
    visit("keystone", self.keystone...);
    visit("layoutSize", self.layoutSize...);
    visit("isFullScreen", self.isFullScreen...);
  }
};

// What the display was told of GPS and OBD-II.
struct SensorsView {
  bool isGpsReliable = false;
  bool isObd2Wanted = false;  // the phone told the display to connect to OBD-II

  template <class Visit, class... Self>
  static void walk(Visit& visit, Self&... self) {
    visit("isGpsReliable", self.isGpsReliable...);
    visit("isObd2Wanted", self.isObd2Wanted...);
  }
};

// The network that the display joins as a station.
struct WifiView {
  std::string ssid = {};  // of the network to join
  bool hasPassword = false;
  DisplayCode security = {};
  bool isJoining = false;
  DisplayCode status = {};  // as the display told the phone
  std::string errorMessage = {};
  std::string ipAddress = {};
  bool isHotspot5GHz = false;
  bool isHotspotBandForced = false;

  template <class Visit, class... Self>
  static void walk(Visit& visit, Self&... self) {
    visit("ssid", self.ssid...);
    visit("hasPassword", self.hasPassword...);
    visit("security", self.security...);
    visit("isJoining", self.isJoining...);
    visit("status", self.status...);
    visit("errorMessage", self.errorMessage...);
    visit("ipAddress", self.ipAddress...);
    visit("isHotspot5GHz", self.isHotspot5GHz...);
    visit("isHotspotBandForced", self.isHotspotBandForced...);
  }
};

// A Bluetooth sound device, as far as the display knows it.
struct SoundDeviceView {
  std::string address = {};
  std::string name = {};
  bool isPaired = false;
  bool isWanted = false;  // the phone wants it connected
  bool isConnected = false;
  DisplayCode event = {};  // the last one of its connection, as the display told the phone

  const std::string& key() const { return address; }

  template <class Visit, class... Self>
  static void walk(Visit& visit, Self&... self) {
    visit("address", self.address...);
    visit("name", self.name...);
    visit("isPaired", self.isPaired...);
    visit("isWanted", self.isWanted...);
    visit("isConnected", self.isConnected...);
    visit("event", self.event...);
  }
};

// The display's Bluetooth.
struct BluetoothView {
  bool isEnabled = true;
  bool isScanning = false;
  DisplayCode status = {};                    // as the display told the phone
  DisplayCode pairing = {};                   // the kind of the last pairing
  std::vector<SoundDeviceView> devices = {};  // those the display told of or was told of

  template <class Visit, class... Self>
  static void walk(Visit& visit, Self&... self) {
    visit("isEnabled", self.isEnabled...);
    visit("isScanning", self.isScanning...);
    visit("status", self.status...);
    visit("pairing", self.pairing...);
    visit("devices", self.devices...);
  }
};

// The display itself: its version, its update, and what it was told to do.
struct DeviceView {
  std::string modelName = {};
  std::string systemVersion = {};
  std::string bleVersion = {};
  std::string update = {};  // "", "waiting", "running", "done", "canceled", "refused", "failed"
  std::int64_t updateSize = 0;
  std::int32_t updatePercent = 0;
  std::int32_t resets = 0;
  DisplayCode lastReset = {};

  template <class Visit, class... Self>
  static void walk(Visit& visit, Self&... self) {
    visit("modelName", self.modelName...);
    visit("systemVersion", self.systemVersion...);
    visit("bleVersion", self.bleVersion...);
    visit("update", self.update...);
    visit("updateSize", self.updateSize...);
    visit("updatePercent", self.updatePercent...);
    visit("resets", self.resets...);
    visit("lastReset", self.lastReset...);
  }
};

// All of it. A value.
struct DisplayState {
  LinkView link = {};
  ClockView clock = {};
  SpeedView speed = {};
  NoticesView notices = {};
  PictureView picture = {};
  SensorsView sensors = {};
  WifiView wifi = {};
  BluetoothView bluetooth = {};
  DeviceView device = {};

  template <class Visit, class... Self>
  static void walk(Visit& visit, Self&... self) {
    visit("link", self.link...);
    visit("clock", self.clock...);
    visit("speed", self.speed...);
    visit("notices", self.notices...);
    visit("picture", self.picture...);
    visit("sensors", self.sensors...);
    visit("wifi", self.wifi...);
    visit("bluetooth", self.bluetooth...);
    visit("device", self.device...);
  }
};

}  // namespace varno
