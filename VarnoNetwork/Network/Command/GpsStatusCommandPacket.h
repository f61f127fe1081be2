#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Tells the display whether the phone's GPS can be relied on.
class VARNO_EXPORT GpsStatusCommandPacket
    : public TypedPacket<GpsStatusCommandPacket, CommandPacket, 11, 1> {
 public:
  static constexpr std::string_view kTypeName = "GpsStatusCommandPacket";

  bool isUnreliable() const { return isUnreliable_; }
  void setIsUnreliable(bool isUnreliable) { isUnreliable_ = isUnreliable; }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("isUnreliable", self.isUnreliable_);
  }

 private:
  bool isUnreliable_ = true;
};

}  // namespace varno
