#pragma once

#include <VarnoNetwork/Network/EventPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

#include <string>
#include <utility>

namespace varno {

// Reports that a sound device is being paired.
class VARNO_EXPORT BluetoothPairingEventPacket
    : public TypedPacket<BluetoothPairingEventPacket, EventPacket, 2, 5> {
 public:
  static constexpr std::string_view kTypeName = "BluetoothPairingEventPacket";
  static constexpr std::string_view kPayloadNote =
      "The address comes before the type, the reverse of BluetoothPairingCommandPacket.";

  // A code that the display defines, as in BluetoothPairingCommandPacket.
  std::int32_t pairingType() const { return pairingType_; }
  void setPairingType(std::int32_t pairingType) { pairingType_ = pairingType; }

  // The device's Bluetooth address, as text.
  const HudString& soundDeviceAddress() const { return soundDeviceAddress_; }
  void setSoundDeviceAddress(HudString soundDeviceAddress) {
    soundDeviceAddress_ = std::move(soundDeviceAddress);
  }

  std::string description() const override {
    return describe("%@[pairingType : %d soundDeviceAddress : %@]", pairingType_,
                    soundDeviceAddress_);
  }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("soundDeviceAddress", self.soundDeviceAddress_);
    visit("pairingType", self.pairingType_);
  }

 private:
  std::int32_t pairingType_ = 0;
  HudString soundDeviceAddress_ = std::string();
};

}  // namespace varno
