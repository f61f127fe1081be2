#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Shows or hides the speed information.
class VARNO_EXPORT DisplaySpeedCommandPacket
    : public TypedPacket<DisplaySpeedCommandPacket, CommandPacket, 9, 3> {
 public:
  static constexpr std::string_view kTypeName = "DisplaySpeedCommandPacket";

  bool isSpeedInformationVisible() const { return isSpeedInformationVisible_; }
  void setIsSpeedInformationVisible(bool isSpeedInformationVisible) {
    isSpeedInformationVisible_ = isSpeedInformationVisible;
  }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("isSpeedInformationVisible", self.isSpeedInformationVisible_);
  }

 private:
  bool isSpeedInformationVisible_ = false;
};

}  // namespace varno
