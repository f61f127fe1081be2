#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Tells the display which phone platform it talks to.
class VARNO_EXPORT VarnoModeCommandPacket
    : public TypedPacket<VarnoModeCommandPacket, CommandPacket, 7, 0> {
 public:
  static constexpr std::string_view kTypeName = "VarnoModeCommandPacket";

  // 0 for Android, any other value for iOS. A fresh packet says Android on every platform.
  std::int32_t mode() const { return mode_; }
  void setMode(std::int32_t mode) { mode_ = mode; }

  std::string description() const override {
    return describe("%@[mode : %@]", mode_ == 0 ? "android" : "ios");
  }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("mode", self.mode_);
  }

 private:
  std::int32_t mode_ = 0;
};

}  // namespace varno
