#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Sets the speed at which the display warns.
class VARNO_EXPORT DisplaySpeedWarningCommandPacket
    : public TypedPacket<DisplaySpeedWarningCommandPacket, CommandPacket, 9, 9> {
 public:
  static constexpr std::string_view kTypeName = "DisplaySpeedWarningCommandPacket";

  // In a unit that the display defines.
  std::int32_t speed() const { return speed_; }
  void setSpeed(std::int32_t speed) { speed_ = speed; }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("speed", self.speed_);
  }

 private:
  std::int32_t speed_ = 0;
};

}  // namespace varno
