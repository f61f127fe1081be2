#include <VarnoDisplay/Private/Notices.h>

#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>

namespace varno {
namespace {

// How the app's notices are shown; null where no setting names it.
const NoticeSetting* settingOf(const NoticesView& notices, const std::string& packageName) {
  const auto found = std::find_if(
      notices.settings.begin(), notices.settings.end(), [&](const NoticeSetting& setting) {
        return setting.packageNames.find(packageName) != setting.packageNames.end();
      });
  return found == notices.settings.end() ? nullptr : &*found;
}

bool isEmpty(const NotificationPacket& packet) {
  return presentText(packet.title()).empty() && presentText(packet.message()).empty();
}

std::optional<LinkTime> timeOutOf(const NoticesView& notices, LinkTime now) {
  if (notices.timeoutSeconds <= 0) return std::nullopt;
  return now + std::chrono::seconds(notices.timeoutSeconds);
}

// The notice; none, counted as hidden, where it is switched off.
std::optional<NoticeView> noticeOf(DisplayPanel& panel, const NotificationPacket& packet,
                                   std::string_view kind, LinkTime now) {
  NoticesView& notices = panel.state.notices;
  NoticeView notice;
  notice.kind = kind;
  notice.packageName = presentText(packet.packageName());
  notice.title = presentText(packet.title());
  notice.message = presentText(packet.message());
  notice.shownAt = now;
  const NoticeSetting* const setting = settingOf(notices, notice.packageName);
  if (!notices.isEnabled || (setting != nullptr && !setting->isEnabled)) {
    ++notices.hidden;
    return std::nullopt;
  }
  if (setting != nullptr) {
    notice.icon = setting->icon;
    notice.color = setting->color;
  }
  notice.id = ++panel.lastNotice;
  return notice;
}

void showOne(std::optional<NoticeView>& place, DisplayPanel& panel,
             const NotificationPacket& packet, std::string_view kind, LinkTime now) {
  if (isEmpty(packet)) {
    place.reset();
  } else if (std::optional<NoticeView> notice = noticeOf(panel, packet, kind, now)) {
    place = std::move(notice);
  }
}

}  // namespace

std::vector<NoticeSetting> initialNoticeSettings(const DisplayCodes& codes) {
  std::vector<NoticeSetting> settings;
  for (const auto& [icon, item] : DisplayNotificationSettingCommandPacket::getDefaultPackageMap()) {
    settings.push_back({.icon = DisplayCodes::codeOf(icon, codes.icons),
                        .isEnabled = true,
                        .color = DisplayCodes::color(item.textColor()),
                        .packageNames = {item.packageName()}});
  }
  return settings;
}

void setNoticeSetting(DisplayPanel& panel, const DisplayNotificationSettingCommandPacket& packet) {
  NoticeSetting setting{.icon = DisplayCodes::codeOf(packet.icon(), panel.options.codes.icons),
                        .isEnabled = packet.enable(),
                        .color = DisplayCodes::color(packet.textColor())};
  for (std::string& name : packet.getPackageNameList()) {
    setting.packageNames.insert(std::move(name));
  }
  std::vector<NoticeSetting>& settings = panel.state.notices.settings;
  const auto place = std::lower_bound(
      settings.begin(), settings.end(), setting.icon.code,
      [](const NoticeSetting& row, std::int32_t icon) { return row.icon.code < icon; });
  if (place != settings.end() && place->icon.code == setting.icon.code) {
    *place = std::move(setting);
    return;
  }
  constexpr std::size_t kMostSettings = 256;  // so that no peer makes it grow without end
  if (settings.size() < kMostSettings) settings.insert(place, std::move(setting));
}

void showCall(DisplayPanel& panel, const NotificationPacket& packet, LinkTime now) {
  showOne(panel.state.notices.call, panel, packet, "call", now);
  // Nothing says that a call has ended, so it goes by time like a message.
  if (panel.state.notices.call && panel.state.notices.call->shownAt == now) {
    panel.state.notices.call->goesAt = timeOutOf(panel.state.notices, now);
  }
}

void showMusic(DisplayPanel& panel, const NotificationPacket& packet, LinkTime now) {
  showOne(panel.state.notices.music, panel, packet, "music", now);
}

void showObd2(DisplayPanel& panel, const NotificationPacket& packet, LinkTime now) {
  showOne(panel.state.notices.obd2, panel, packet, "obd2", now);
}

void showMessage(DisplayPanel& panel, const NotificationPacket& packet, LinkTime now) {
  std::optional<NoticeView> notice = noticeOf(panel, packet, "social", now);
  if (!notice) return;
  NoticesView& notices = panel.state.notices;
  notice->goesAt = timeOutOf(notices, now);
  notices.shown.push_back(*std::move(notice));
  while (notices.shown.size() > panel.options.maxNotices) {
    notices.shown.erase(notices.shown.begin());
  }
}

void showSpeed(DisplayPanel& panel, const NotificationPacket& packet) {
  SpeedView& speed = panel.state.speed;
  speed.text = presentText(packet.message());
  const char* const end = speed.text.data() + speed.text.size();
  std::int32_t value = 0;
  const std::from_chars_result read = std::from_chars(speed.text.data(), end, value);
  const bool isNumber = read.ec == std::errc() && read.ptr == end;
  speed.value = isNumber ? std::optional(value) : std::nullopt;
  updateSpeedWarning(speed);
}

void updateSpeedWarning(SpeedView& speed) {
  speed.isWarning = speed.warningAt > 0 && speed.value && *speed.value >= speed.warningAt;
}

DisplayPanel::DisplayPanel(const DisplayOptions& displayOptions) : options(displayOptions) {
  restart();
}

void DisplayPanel::restart() {
  const DisplayCodes& codes = options.codes;
  LinkView link = std::move(state.link);
  state = {};
  state.link = std::move(link);
  state.notices.settings = initialNoticeSettings(codes);
  state.picture.theme = DisplayCodes::codeOf(1, codes.themes);
  state.bluetooth.status = DisplayCodes::codeOf(1, codes.bluetoothStatuses);
  state.wifi.status = DisplayCodes::codeOf(0, codes.wifiStatuses);
  state.device.modelName = options.modelName;
  state.device.systemVersion = options.systemVersion;
  state.device.bleVersion = options.bleVersion;
}

void DisplayPanel::removeTimedOut(LinkTime now) {
  const auto isOver = [now](const NoticeView& notice) {
    return notice.goesAt && *notice.goesAt <= now;
  };
  NoticesView& notices = state.notices;
  if (notices.call && isOver(*notices.call)) notices.call.reset();
  notices.shown.erase(std::remove_if(notices.shown.begin(), notices.shown.end(), isOver),
                      notices.shown.end());
}

std::optional<LinkTime> DisplayPanel::nextTimeOut() const {
  std::optional<LinkTime> next;
  const auto consider = [&next](const NoticeView& notice) {
    if (notice.goesAt && (!next || *notice.goesAt < *next)) next = notice.goesAt;
  };
  if (state.notices.call) consider(*state.notices.call);
  for (const NoticeView& notice : state.notices.shown) consider(notice);
  return next;
}

}  // namespace varno
