#pragma once

#include <VarnoNetwork/Network/HudPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

#include <string>
#include <utility>

namespace varno {

// The base of the notifications, which come from apps on the phone. All kinds have the same
// payload; only the category differs.
class VARNO_EXPORT NotificationPacket : public FieldPacket<NotificationPacket, HudPacket> {
 public:
  static constexpr std::string_view kTypeName = "NotificationPacket";

  NotificationPacket() = default;

  std::uint8_t getCommand() const override { return 1; }
  std::string_view typeName() const override { return kTypeName; }

  // The kind: the packet's param1.
  std::uint8_t category() const { return getParam1(); }

  // The app that the notification comes from, for example DEFAULT_SMS_PACKAGE_NAME.
  const HudString& packageName() const { return packageName_; }
  void setPackageName(HudString packageName) { packageName_ = std::move(packageName); }

  const HudString& title() const { return title_; }
  void setTitle(HudString title) { title_ = std::move(title); }

  const HudString& message() const { return message_; }
  void setMessage(HudString message) { message_ = std::move(message); }

  std::string description() const override {
    return describe("%@[package name : %@, title : %@, message : %@]", packageName_, title_,
                    message_);
  }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("packageName", self.packageName_);
    visit("title", self.title_);
    visit("message", self.message_);
  }

 protected:
  NotificationPacket(const NotificationPacket&) = default;
  NotificationPacket(NotificationPacket&&) = default;
  NotificationPacket& operator=(const NotificationPacket&) = default;
  NotificationPacket& operator=(NotificationPacket&&) = default;

 private:
  HudString packageName_ = std::string();
  HudString title_ = std::string();
  HudString message_ = std::string();
};

}  // namespace varno
