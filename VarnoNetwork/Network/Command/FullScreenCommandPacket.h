#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Switches full-screen mode.
class VARNO_EXPORT FullScreenCommandPacket
    : public TypedPacket<FullScreenCommandPacket, CommandPacket, 8, 1> {
 public:
  static constexpr std::string_view kTypeName = "FullScreenCommandPacket";

  bool isFullScreen() const { return isFullScreen_; }
  void setIsFullScreen(bool isFullScreen) { isFullScreen_ = isFullScreen; }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("isFullScreen", self.isFullScreen_);
  }

 private:
  bool isFullScreen_ = false;
};

}  // namespace varno
