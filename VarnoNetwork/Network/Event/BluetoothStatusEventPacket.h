#pragma once

#include <VarnoNetwork/Network/EventPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Reports the state of the display's Bluetooth.
class VARNO_EXPORT BluetoothStatusEventPacket
    : public TypedPacket<BluetoothStatusEventPacket, EventPacket, 2, 1> {
 public:
  static constexpr std::string_view kTypeName = "BluetoothStatusEventPacket";

  // A code that the display defines.
  std::uint8_t statusType() const { return statusType_; }
  void setStatusType(std::uint8_t statusType) { statusType_ = statusType; }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("statusType", self.statusType_);
  }

 private:
  std::uint8_t statusType_ = 0;
};

}  // namespace varno
