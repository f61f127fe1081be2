#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Chooses the band of the display's hotspot.
class VARNO_EXPORT HudHotspotBasebandCommandPacket
    : public TypedPacket<HudHotspotBasebandCommandPacket, CommandPacket, 21, 0> {
 public:
  static constexpr std::string_view kTypeName = "HudHotspotBasebandCommandPacket";

  bool is5G() const { return is5G_; }
  void setIs5G(bool is5G) { is5G_ = is5G; }

  bool forceEnable() const { return forceEnable_; }
  void setForceEnable(bool forceEnable) { forceEnable_ = forceEnable; }

  // No comma, unlike other commands.
  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("is5G", self.is5G_);
    visit("forceEnable", self.forceEnable_);
  }

 private:
  bool is5G_ = true;
  bool forceEnable_ = false;
};

}  // namespace varno
