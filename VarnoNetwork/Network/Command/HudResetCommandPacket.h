#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Resets the display.
class VARNO_EXPORT HudResetCommandPacket
    : public TypedPacket<HudResetCommandPacket, CommandPacket, 13, 0> {
 public:
  static constexpr std::string_view kTypeName = "HudResetCommandPacket";

  // How to reset: a code that the display defines.
  std::int32_t resetType() const { return resetType_; }
  void setResetType(std::int32_t resetType) { resetType_ = resetType; }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("resetType", self.resetType_);
  }

 private:
  std::int32_t resetType_ = 1;
};

}  // namespace varno
