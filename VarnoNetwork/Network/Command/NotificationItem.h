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

  // A color value that the display defines; 0xFFFFFFFF (-1) by default.
  std::int32_t textColor() const { return textColor_; }
  void setTextColor(std::int32_t textColor) { textColor_ = textColor; }

  const std::string& packageName() const { return packageName_; }
  void setPackageName(std::string packageName) { packageName_ = std::move(packageName); }

 private:
  std::int32_t textColor_ = -1;
  std::string packageName_;
};

}  // namespace varno
