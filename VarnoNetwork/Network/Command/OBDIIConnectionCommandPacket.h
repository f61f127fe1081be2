#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Tells the display whether to connect over OBD-II.
class VARNO_EXPORT OBDIIConnectionCommandPacket
    : public TypedPacket<OBDIIConnectionCommandPacket, CommandPacket, 19, 1> {
 public:
  static constexpr std::string_view kTypeName = "OBDIIConnectionCommandPacket";

  bool shouldConnectToOBDII() const { return shouldConnectToOBDII_; }
  void setShouldConnectToOBDII(bool shouldConnectToOBDII) {
    shouldConnectToOBDII_ = shouldConnectToOBDII;
  }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("shouldConnectToOBDII", self.shouldConnectToOBDII_);
  }

 private:
  bool shouldConnectToOBDII_ = false;
};

}  // namespace varno
