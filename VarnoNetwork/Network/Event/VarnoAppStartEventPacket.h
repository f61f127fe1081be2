#pragma once

#include <VarnoNetwork/Network/EventPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Reports whether the Varno application has started.
class VARNO_EXPORT VarnoAppStartEventPacket
    : public TypedPacket<VarnoAppStartEventPacket, EventPacket, 3, 1> {
 public:
  static constexpr std::string_view kTypeName = "VarnoAppStartEventPacket";

  bool isVarnoAppStart() const { return isVarnoAppStart_; }
  void setIsVarnoAppStart(bool isVarnoAppStart) { isVarnoAppStart_ = isVarnoAppStart; }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("isVarnoAppStart", self.isVarnoAppStart_);
  }

 private:
  bool isVarnoAppStart_ = false;
};

}  // namespace varno
