#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace varno {

// What the display shows for one app: a row of DisplayNotificationSettingCommandPacket's default
// table.
class NotificationItem {
 public:
  static NotificationItem initWithColor(std::int32_t color, std::string packageName) {
    NotificationItem item;
    item.setTextColor(color);
    item.setPackageName(std::move(packageName));
    return item;
  }

  // A color word of the display's; 0xFFFFFFFF, that is -1, at first.
  std::int32_t textColor() const { return textColor_; }
  void setTextColor(std::int32_t textColor) { textColor_ = textColor; }

  const std::string& packageName() const { return packageName_; }
  void setPackageName(std::string packageName) { packageName_ = std::move(packageName); }

 private:
  std::int32_t textColor_ = -1;
  std::string packageName_;
};

}  // namespace varno
