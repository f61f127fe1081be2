#pragma once

#include <VarnoNetwork/Network/Command/DefaultPackageNames.h>
#include <VarnoNetwork/Network/Command/NotificationItem.h>
#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace varno {

// Tells the display whether it shows the notifications of some apps, and under which icon and in
// which color.
class VARNO_EXPORT DisplayNotificationSettingCommandPacket
    : public TypedPacket<DisplayNotificationSettingCommandPacket, CommandPacket, 9, 8> {
 public:
  static constexpr std::string_view kTypeName = "DisplayNotificationSettingCommandPacket";
  static constexpr std::string_view kPayloadNote =
      "The names come in any order; a repeated one counts once, and a count below 0 is none.";

  using PackageNameSet = std::set<std::string>;
  using PackageMap = std::map<std::int32_t, NotificationItem>;

  bool enable() const { return enable_; }
  void setEnable(bool enable) { enable_ = enable; }

  // A color value that the display defines; 0xFFFFFFFF (-1) by default.
  std::int32_t textColor() const { return textColor_; }
  void setTextColor(std::int32_t textColor) { textColor_ = textColor; }

  // An icon id that the display defines, for example a key of the default table.
  std::int32_t icon() const { return icon_; }
  void setIcon(std::int32_t icon) { icon_ = icon; }

  // The package names of the apps. The set is shared with the callers of the setter and the getter,
  // and with copies of the packet: all see what is added, removed or parsed. May be null, which
  // counts as empty; adding a name or parsing then creates a set.
  const std::shared_ptr<PackageNameSet>& packageNameSet() const { return packageNameSet_; }
  void setPackageNameSet(std::shared_ptr<PackageNameSet> packageNameSet) {
    packageNameSet_ = std::move(packageNameSet);
  }

  void addPackageName(std::string packageName);
  void removePackageName(const std::string& packageName);
  bool containPackageName(const std::string& packageName) const;
  std::vector<std::string> getPackageNameList() const;

  // The default table, by icon: sixteen apps under the icons 1 to 16. The same table on every call,
  // on any thread.
  static const PackageMap& getDefaultPackageMap();

  // A packet for one row of the default table; none for an icon that has no row. The packet is not
  // enabled; the caller does that.
  static std::optional<DisplayNotificationSettingCommandPacket> getDefaultSettingPacketWith(
      std::int32_t icon);

  // Shows five names at most.
  std::string description() const override;

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("enable", self.enable_);
    visit("textColor", self.textColor_);
    visit("icon", self.icon_);
    visit("packageNameSet", self.packageNameSet_);
  }

 private:
  bool enable_ = false;
  std::int32_t textColor_ = -1;
  std::int32_t icon_ = 0;
  std::shared_ptr<PackageNameSet> packageNameSet_ = std::make_shared<PackageNameSet>();
};

}  // namespace varno
