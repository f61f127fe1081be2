#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Sets the size of the layout.
class VARNO_EXPORT LayoutSizeCommandPacket
    : public TypedPacket<LayoutSizeCommandPacket, CommandPacket, 14, 0> {
 public:
  static constexpr std::string_view kTypeName = "LayoutSizeCommandPacket";

  // On a scale that the display defines.
  float layoutSize() const { return layoutSize_; }
  void setLayoutSize(float layoutSize) { layoutSize_ = layoutSize; }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("layoutSize", self.layoutSize_);
  }

 private:
  float layoutSize_ = 0.0F;
};

}  // namespace varno
