#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Shows or hides the clock.
class VARNO_EXPORT DisplayTimeCommandPacket
    : public TypedPacket<DisplayTimeCommandPacket, CommandPacket, 9, 4> {
 public:
  static constexpr std::string_view kTypeName = "DisplayTimeCommandPacket";

  bool isEnable() const { return isEnable_; }
  void setIsEnable(bool isEnable) { isEnable_ = isEnable; }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("isEnable", self.isEnable_);
  }

 private:
  bool isEnable_ = false;
};

}  // namespace varno
