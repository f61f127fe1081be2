#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Shows or hides the speed gauge.
class VARNO_EXPORT DisplaySpeedGaugeCommandPacket
    : public TypedPacket<DisplaySpeedGaugeCommandPacket, CommandPacket, 9, 12> {
 public:
  static constexpr std::string_view kTypeName = "DisplaySpeedGaugeCommandPacket";

  bool isSpeedGaugeVisible() const { return isSpeedGaugeVisible_; }
  void setIsSpeedGaugeVisible(bool isSpeedGaugeVisible) {
    isSpeedGaugeVisible_ = isSpeedGaugeVisible;
  }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("isSpeedGaugeVisible", self.isSpeedGaugeVisible_);
  }

 private:
  bool isSpeedGaugeVisible_ = true;
};

}  // namespace varno
