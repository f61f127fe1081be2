#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Sets the color of the speed text.
class VARNO_EXPORT DisplaySpeedColorCommandPacket
    : public TypedPacket<DisplaySpeedColorCommandPacket, CommandPacket, 9, 10> {
 public:
  static constexpr std::string_view kTypeName = "DisplaySpeedColorCommandPacket";

  // A color value that the display defines; 0xFFFFFFFF (-1) by default.
  std::int32_t textColor() const { return textColor_; }
  void setTextColor(std::int32_t textColor) { textColor_ = textColor; }

  std::string description() const override { return describe("%@[textColor : 0x%X]", textColor_); }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("textColor", self.textColor_);
  }

 private:
  std::int32_t textColor_ = -1;
};

}  // namespace varno
