#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Switches the display's backlight.
class VARNO_EXPORT DisplayBrightnessCommandPacket
    : public TypedPacket<DisplayBrightnessCommandPacket, CommandPacket, 9, 2> {
 public:
  static constexpr std::string_view kTypeName = "DisplayBrightnessCommandPacket";
  static constexpr std::string_view kPayloadNote =
      "Carries the backlight's switch alone and no brightness, whatever its name says.";

  bool isBacklightEnabled() const { return isBacklightEnabled_; }
  void setIsBacklightEnabled(bool isBacklightEnabled) { isBacklightEnabled_ = isBacklightEnabled; }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("isBacklightEnabled", self.isBacklightEnabled_);
  }

 private:
  bool isBacklightEnabled_ = false;
};

}  // namespace varno
