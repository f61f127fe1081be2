#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Switches the display's Bluetooth off.
class VARNO_EXPORT BluetoothDisableCommandPacket
    : public TypedPacket<BluetoothDisableCommandPacket, CommandPacket, 5, 2> {
 public:
  static constexpr std::string_view kTypeName = "BluetoothDisableCommandPacket";
};

}  // namespace varno
