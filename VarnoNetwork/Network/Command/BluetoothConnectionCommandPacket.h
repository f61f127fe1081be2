#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

#include <string>
#include <utility>

namespace varno {

// Connects the display to a sound device, or disconnects it.
class VARNO_EXPORT BluetoothConnectionCommandPacket
    : public TypedPacket<BluetoothConnectionCommandPacket, CommandPacket, 5, 4> {
 public:
  static constexpr std::string_view kTypeName = "BluetoothConnectionCommandPacket";
  static constexpr std::string_view kFieldSeparator = ", ";

  // The device's Bluetooth address, as text that the library does not check.
  const HudString& address() const { return address_; }
  void setAddress(HudString address) { address_ = std::move(address); }

  bool isConnectionRequired() const { return isConnectionRequired_; }
  void setIsConnectionRequired(bool isConnectionRequired) {
    isConnectionRequired_ = isConnectionRequired;
  }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("address", self.address_);
    visit("isConnectionRequired", self.isConnectionRequired_);
  }

 private:
  HudString address_ = std::string();
  bool isConnectionRequired_ = false;
};

}  // namespace varno
