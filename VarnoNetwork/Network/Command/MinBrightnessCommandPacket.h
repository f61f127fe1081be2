#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Sets the display's least brightness.
class VARNO_EXPORT MinBrightnessCommandPacket
    : public TypedPacket<MinBrightnessCommandPacket, CommandPacket, 2, 4> {
 public:
  static constexpr std::string_view kTypeName = "MinBrightnessCommandPacket";
  static constexpr std::string_view kFieldSeparator = ", ";

  // On a scale that the display defines.
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
  std::int32_t brightness_ = 51;
  bool showSetting_ = false;
};

}  // namespace varno
