#pragma once

#include <VarnoNetwork/Network/Event/BluetoothSoundDevice.h>
#include <VarnoNetwork/Network/EventPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

#include <memory>
#include <utility>

namespace varno {

// Reports a change in the connection to a sound device.
class VARNO_EXPORT BluetoothConnectionEventPacket
    : public TypedPacket<BluetoothConnectionEventPacket, EventPacket, 2, 2> {
 public:
  static constexpr std::string_view kTypeName = "BluetoothConnectionEventPacket";

  // Shared with the callers of the setter and the getter; parsing fills it in place. May be null: a
  // default record is then sent, and parsing creates one.
  const std::shared_ptr<BluetoothSoundDevice>& soundDevice() const { return soundDevice_; }
  void setSoundDevice(std::shared_ptr<BluetoothSoundDevice> soundDevice) {
    soundDevice_ = std::move(soundDevice);
  }

  // A code that the display defines.
  std::uint8_t event() const { return event_; }
  void setEvent(std::uint8_t event) { event_ = event; }

  std::string description() const override {
    return describe("%@[soundDevice : %@ event : %d]", BluetoothSoundDevice::describe(soundDevice_),
                    event_);
  }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("soundDevice", self.soundDevice_);
    visit("event", self.event_);
  }

 private:
  std::shared_ptr<BluetoothSoundDevice> soundDevice_ = std::make_shared<BluetoothSoundDevice>();
  std::uint8_t event_ = 0;
};

}  // namespace varno
