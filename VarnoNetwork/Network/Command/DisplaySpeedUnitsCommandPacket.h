#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Chooses the units in which the display shows speed.
class VARNO_EXPORT DisplaySpeedUnitsCommandPacket
    : public TypedPacket<DisplaySpeedUnitsCommandPacket, CommandPacket, 9, 5> {
 public:
  static constexpr std::string_view kTypeName = "DisplaySpeedUnitsCommandPacket";

  // 0 for kilometers per hour, any other value for miles per hour.
  std::int32_t speedUnitType() const { return speedUnitType_; }
  void setSpeedUnitType(std::int32_t speedUnitType) { speedUnitType_ = speedUnitType; }

  // "mp/h" is spelled so on purpose.
  std::string description() const override {
    return describe("%@[speedUnitType : %@]", speedUnitType_ == 0 ? "km/h" : "mp/h");
  }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("speedUnitType", self.speedUnitType_);
  }

 private:
  std::int32_t speedUnitType_ = 0;
};

}  // namespace varno
