#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Sets the display's least brightness for VarnoCast.
class VARNO_EXPORT VarnoCastMinBrightnessCommandPacket
    : public TypedPacket<VarnoCastMinBrightnessCommandPacket, CommandPacket, 2, 6> {
 public:
  static constexpr std::string_view kTypeName = "VarnoCastMinBrightnessCommandPacket";
  static constexpr std::string_view kFieldSeparator = ", ";

  // On a scale that the display defines. 0 by default, unlike MinBrightnessCommandPacket.
  std::int32_t brightness() const { return brightness_; }
  void setBrightness(std::int32_t brightness) { brightness_ = brightness; }

  bool showSetting() const { return showSetting_; }
  void setShowSetting(bool showSetting) { showSetting_ = showSetting; }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("brightness", self.brightness_);
    visit("showSetting", self.showSetting_);
  }

 private:
  std::int32_t brightness_ = 0;
  bool showSetting_ = false;
};

}  // namespace varno
