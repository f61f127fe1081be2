#include <VarnoNetwork/Network/Command/DisplayNotificationSettingCommandPacket.h>

namespace varno {
namespace {

constexpr std::size_t kDescribedNames = 5;

std::int32_t color(std::uint32_t word) { return static_cast<std::int32_t>(word); }

}  // namespace

void DisplayNotificationSettingCommandPacket::addPackageName(std::string packageName) {
  if (!packageNameSet_) packageNameSet_ = std::make_shared<PackageNameSet>();
  packageNameSet_->insert(std::move(packageName));
}

void DisplayNotificationSettingCommandPacket::removePackageName(const std::string& packageName) {
  if (packageNameSet_) packageNameSet_->erase(packageName);
}

bool DisplayNotificationSettingCommandPacket::containPackageName(
    const std::string& packageName) const {
  return packageNameSet_ && packageNameSet_->count(packageName) != 0;
}

std::vector<std::string> DisplayNotificationSettingCommandPacket::getPackageNameList() const {
  if (!packageNameSet_) return {};
  return {packageNameSet_->begin(), packageNameSet_->end()};
}

const DisplayNotificationSettingCommandPacket::PackageMap&
DisplayNotificationSettingCommandPacket::getDefaultPackageMap() {
  constexpr std::uint32_t kWhite = 0xFFFFFFFF;
  const auto item = [](std::uint32_t word, const char* packageName) {
    return NotificationItem::initWithColor(color(word), packageName);
  };
  // Never destroyed: destructors of static objects may still use it.
  static const PackageMap& map = *new PackageMap{
      {1, item(kWhite, DEFAULT_CALL_PACKAGE_NAME)},
      {2, item(kWhite, DEFAULT_SMS_PACKAGE_NAME)},
      {3, item(0xFF39B1EE, DEFAULT_MUSIC_PACKAGE_NAME)},
      {4, item(kWhite, DEFAULT_EMAIL_PACKAGE_NAME)},
      {5, item(kWhite, DEFAULT_OBD2_PACKAGE_NAME)},
      {6, item(0xFFFAE100, DEFAULT_KAKAO_TALK_PACKAGE_NAME)},
      {7, item(kWhite, DEFAULT_WHATSAPP_PACKAGE_NAME)},
      {8, item(kWhite, DEFAULT_FACEBOOK_PACKAGE_NAME)},
      {9, item(kWhite, DEFAULT_WECHAT_PACKAGE_NAME)},
      {10, item(kWhite, DEFAULT_LINE_PACKAGE_NAME)},
      {11, item(kWhite, DEFAULT_SKYPE_PACKAGE_NAME)},
      {12, item(kWhite, DEFAULT_VIBER_PACKAGE_NAME)},
      {13, item(kWhite, DEFAULT_TANGO_PACKAGE_NAME)},
      {14, item(kWhite, DEFAULT_NIMBUZZ_PACKAGE_NAME)},
      {15, item(kWhite, DEFAULT_KIK_PACKAGE_NAME)},
      {16, item(kWhite, DEFAULT_TELEGRAM_PACKAGE_NAME)},
  };
  return map;
}

std::optional<DisplayNotificationSettingCommandPacket>
DisplayNotificationSettingCommandPacket::getDefaultSettingPacketWith(std::int32_t icon) {
  const PackageMap& map = getDefaultPackageMap();
  const auto row = map.find(icon);
  if (row == map.end()) return std::nullopt;
  DisplayNotificationSettingCommandPacket packet;
  packet.setIcon(icon);
  packet.setTextColor(row->second.textColor());
  packet.addPackageName(row->second.packageName());
  return packet;
}

std::string DisplayNotificationSettingCommandPacket::description() const {
  const PackageNameSet none;
  const PackageNameSet& names = packageNameSet_ ? *packageNameSet_ : none;
  std::string list;
  std::size_t shown = 0;
  for (auto name = names.begin(); name != names.end() && shown < kDescribedNames; ++name) {
    if (shown > 0) list += ", ";
    list += *name;
    // On purpose the dots follow the fifth name even when it is the last.
    if (++shown == kDescribedNames) list += "...";
  }
  return describe(
      "%@[enable : %d, textColor : 0x%X, icon : 0x%X, package name count : %lu package name "
      "list[%@]]",
      enable_, textColor_, icon_, std::uint64_t{names.size()}, list);
}

}  // namespace varno
