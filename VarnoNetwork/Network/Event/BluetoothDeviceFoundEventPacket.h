#pragma once

#include <VarnoNetwork/Network/Event/BluetoothSoundDevice.h>
#include <VarnoNetwork/Network/EventPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

#include <memory>
#include <utility>

namespace varno {

// Reports a sound device that a scan has found.
class VARNO_EXPORT BluetoothDeviceFoundEventPacket
    : public TypedPacket<BluetoothDeviceFoundEventPacket, EventPacket, 2, 3> {
 public:
  static constexpr std::string_view kTypeName = "BluetoothDeviceFoundEventPacket";

  // Shared with the callers of the setter and the getter; parsing fills it in place. May be null: a
  // default record is then sent, and parsing creates one.
  const std::shared_ptr<BluetoothSoundDevice>& soundDevice() const { return soundDevice_; }
  void setSoundDevice(std::shared_ptr<BluetoothSoundDevice> soundDevice) {
    soundDevice_ = std::move(soundDevice);
  }

  std::string description() const override {
    return describe("%@[soundDevice : %@]", BluetoothSoundDevice::describe(soundDevice_));
  }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("soundDevice", self.soundDevice_);
  }

 private:
  std::shared_ptr<BluetoothSoundDevice> soundDevice_ = std::make_shared<BluetoothSoundDevice>();
};

}  // namespace varno
