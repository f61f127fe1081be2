#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Sets the keystone correction of the picture.
class VARNO_EXPORT KeyStoneCommandPacket
    : public TypedPacket<KeyStoneCommandPacket, CommandPacket, 3, 0> {
 public:
  static constexpr std::string_view kTypeName = "KeyStoneCommandPacket";

  // On a scale that the display defines.
  float keyStone() const { return keyStone_; }
  void setKeyStone(float keyStone) { keyStone_ = keyStone; }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("keyStone", self.keyStone_);
  }

 private:
  float keyStone_ = 0.0F;
};

}  // namespace varno
