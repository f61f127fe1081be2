#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

#include <utility>

namespace varno {

// Connects the display to a sound device, or disconnects it.
class VARNO_EXPORT BluetoothConnectionCommandPacket
    : public TypedPacket<BluetoothConnectionCommandPacket, CommandPacket, 5, 4> {
 public:
  static constexpr std::string_view kTypeName = "BluetoothConnectionCommandPacket";

  // The device's Bluetooth address, as text in whatever form the display takes.
  const HudString& address() const { return address_; }
  void setAddress(HudString address) { address_ = std::move(address); }

  bool isConnectionRequired() const { return isConnectionRequired_; }
  void setIsConnectionRequired(bool isConnectionRequired) {
    isConnectionRequired_ = isConnectionRequired;
  }

  std::string description() const override {
    return describe("%@[address : %@, isConnectionRequired : %d]", address_, isConnectionRequired_);
  }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("address", self.address_);
    visit("isConnectionRequired", self.isConnectionRequired_);
  }

 private:
  HudString address_ = "";
  bool isConnectionRequired_ = false;
};

}  // namespace varno
