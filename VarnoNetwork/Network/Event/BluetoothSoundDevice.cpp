#include <VarnoNetwork/Network/Event/BluetoothSoundDevice.h>
#include <VarnoNetwork/Network/PayloadCodec.h>
#include <VarnoNetwork/Network/TextFormat.h>

#include <ostream>

namespace varno {

void BluetoothSoundDevice::serialize(HudOutputStream& stream) const {
  PayloadWriter visit(stream);
  fields(*this, visit);
}

void BluetoothSoundDevice::deserialize(HudInputStream& stream) {
  PayloadReader visit(stream);
  fields(*this, visit);
}

std::string BluetoothSoundDevice::description() const {
  // The last colon has no blanks around it, on purpose.
  return formatText("%@[name : %@, address : %@ isConnected:%d]", kTypeName, name_, address_,
                    isConnected_);
}

HudString BluetoothSoundDevice::describe(const std::shared_ptr<BluetoothSoundDevice>& device) {
  return device ? HudString(device->description()) : HudString();
}

std::ostream& operator<<(std::ostream& stream, const BluetoothSoundDevice& device) {
  return stream << device.description();
}

}  // namespace varno
