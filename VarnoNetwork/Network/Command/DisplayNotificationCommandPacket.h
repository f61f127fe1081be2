#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Switches the display of notifications.
class VARNO_EXPORT DisplayNotificationCommandPacket
    : public TypedPacket<DisplayNotificationCommandPacket, CommandPacket, 9, 7> {
 public:
  static constexpr std::string_view kTypeName = "DisplayNotificationCommandPacket";

  bool enable() const { return enable_; }
  void setEnable(bool enable) { enable_ = enable; }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("enable", self.enable_);
  }

 private:
  bool enable_ = false;
};

}  // namespace varno
