#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoNetwork/Network/HudInputStream.h>
#include <VarnoNetwork/Network/HudOutputStream.h>
#include <VarnoNetwork/Network/HudString.h>

#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace varno {

// One Bluetooth sound device, as the display reports it. Events hold it by shared pointer: whoever
// passed it to an event or got it from one sees it change when that event parses.
class VARNO_EXPORT BluetoothSoundDevice {
 public:
  static constexpr std::string_view kTypeName = "BluetoothSoundDevice";

  const HudString& name() const { return name_; }
  void setName(HudString name) { name_ = std::move(name); }

  // The device's Bluetooth address, as text that the library does not check.
  const HudString& address() const { return address_; }
  void setAddress(HudString address) { address_ = std::move(address); }

  bool isConnected() const { return isConnected_; }
  void setIsConnected(bool isConnected) { isConnected_ = isConnected; }

  void serialize(HudOutputStream& stream) const;

  // Throws IndexOutOfBoundsException when the stream ends too early; the fields before keep their
  // new values.
  void deserialize(HudInputStream& stream);

  std::string description() const;

  // The description of a device that may be null; absent if it is.
  static HudString describe(const std::shared_ptr<BluetoothSoundDevice>& device);

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("name", self.name_);
    visit("address", self.address_);
    visit("isConnected", self.isConnected_);
  }

 private:
  HudString name_ = std::string();
  HudString address_ = std::string();
  bool isConnected_ = false;
};

// Prints the description.
VARNO_EXPORT std::ostream& operator<<(std::ostream& stream, const BluetoothSoundDevice& device);

}  // namespace varno
