#pragma once

#include <VarnoNetwork/Network/EventPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Reports whether the Varno application is connected.
class VARNO_EXPORT VarnoAppConnectionEventPacket
    : public TypedPacket<VarnoAppConnectionEventPacket, EventPacket, 3, 2> {
 public:
  static constexpr std::string_view kTypeName = "VarnoAppConnectionEventPacket";

  bool isVarnoAppConnected() const { return isVarnoAppConnected_; }
  void setIsVarnoAppConnected(bool isVarnoAppConnected) {
    isVarnoAppConnected_ = isVarnoAppConnected;
  }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("isVarnoAppConnected", self.isVarnoAppConnected_);
  }

 private:
  bool isVarnoAppConnected_ = false;
};

}  // namespace varno
