#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Switches the display's Bluetooth on.
class VARNO_EXPORT BluetoothEnableCommandPacket
    : public TypedPacket<BluetoothEnableCommandPacket, CommandPacket, 5, 1> {
 public:
  static constexpr std::string_view kTypeName = "BluetoothEnableCommandPacket";
};

}  // namespace varno
