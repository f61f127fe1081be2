#pragma once

#include <VarnoNetwork/Network/EventPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

#include <string>
#include <utility>

namespace varno {

// Tells what the display is and which versions it runs.
class VARNO_EXPORT HudVersionEventPacket
    : public TypedPacket<HudVersionEventPacket, EventPacket, 5, 0> {
 public:
  static constexpr std::string_view kTypeName = "HudVersionEventPacket";
  static constexpr std::string_view kPayloadNote =
      "One string \"modelName&systemVersion&bleVersion\" when read; written without the second "
      "\"&\", so that a packet does not read back what it wrote.";

  const HudString& modelName() const { return modelName_; }
  void setModelName(HudString modelName) { modelName_ = std::move(modelName); }

  // The version of the system software. The library does not interpret versions.
  const HudString& systemVersion() const { return systemVersion_; }
  void setSystemVersion(HudString systemVersion) { systemVersion_ = std::move(systemVersion); }

  // The version of the Bluetooth Low Energy part.
  const HudString& bleVersion() const { return bleVersion_; }
  void setBleVersion(HudString bleVersion) { bleVersion_ = std::move(bleVersion); }

  void appendPayload(HudOutputStream& stream) const override;

  // Also returns false, and logs one line, when the text does not have exactly three parts. Changes
  // all fields or none.
  bool parsePayload(HudInputStream& stream) override;

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit.unsent("modelName", self.modelName_);
    visit.unsent("systemVersion", self.systemVersion_);
    visit.unsent("bleVersion", self.bleVersion_);
  }

 private:
  HudString modelName_ = std::string();
  HudString systemVersion_ = std::string();
  HudString bleVersion_ = std::string();
};

}  // namespace varno
