#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Starts or ends a scan for sound devices.
class VARNO_EXPORT BluetoothScanCommandPacket
    : public TypedPacket<BluetoothScanCommandPacket, CommandPacket, 5, 3> {
 public:
  static constexpr std::string_view kTypeName = "BluetoothScanCommandPacket";

  bool enable() const { return enable_; }
  void setEnable(bool enable) { enable_ = enable; }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("enable", self.enable_);
  }

 private:
  bool enable_ = false;
};

}  // namespace varno
