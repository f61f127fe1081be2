#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

#include <string>
#include <utility>

namespace varno {

// Pairs the display with a sound device.
class VARNO_EXPORT BluetoothPairingCommandPacket
    : public TypedPacket<BluetoothPairingCommandPacket, CommandPacket, 5, 6> {
 public:
  static constexpr std::string_view kTypeName = "BluetoothPairingCommandPacket";

  // A code that the display defines, as in BluetoothPairingEventPacket.
  std::int32_t pairingType() const { return pairingType_; }
  void setPairingType(std::int32_t pairingType) { pairingType_ = pairingType; }

  // The device's Bluetooth address, as text.
  const HudString& soundDeviceAddress() const { return soundDeviceAddress_; }
  void setSoundDeviceAddress(HudString soundDeviceAddress) {
    soundDeviceAddress_ = std::move(soundDeviceAddress);
  }

  // Shown in clear by the description.
  const HudString& pairingKey() const { return pairingKey_; }
  void setPairingKey(HudString pairingKey) { pairingKey_ = std::move(pairingKey); }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("pairingType", self.pairingType_);
    visit("soundDeviceAddress", self.soundDeviceAddress_);
    visit.secret("pairingKey", self.pairingKey_);
  }

 private:
  std::int32_t pairingType_ = 0;
  HudString soundDeviceAddress_ = std::string();
  HudString pairingKey_ = std::string();
};

}  // namespace varno
