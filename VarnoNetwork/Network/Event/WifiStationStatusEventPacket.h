#pragma once

#include <VarnoNetwork/Network/EventPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

#include <string>
#include <utility>

namespace varno {

// Reports the state of the display's Wi-Fi station.
class VARNO_EXPORT WifiStationStatusEventPacket
    : public TypedPacket<WifiStationStatusEventPacket, EventPacket, 6, 0> {
 public:
  static constexpr std::string_view kTypeName = "WifiStationStatusEventPacket";

  // A code that the display defines.
  std::int32_t eventType() const { return eventType_; }
  void setEventType(std::int32_t eventType) { eventType_ = eventType; }

  const HudString& errorMessage() const { return errorMessage_; }
  void setErrorMessage(HudString errorMessage) { errorMessage_ = std::move(errorMessage); }

  const HudString& ipAddress() const { return ipAddress_; }
  void setIpAddress(HudString ipAddress) { ipAddress_ = std::move(ipAddress); }

  // The label "errorCode" differs from the field's name on purpose.
  std::string description() const override {
    return describe("%@[errorCode : %d errorMessage : %@ ipAddress : %@]", eventType_,
                    errorMessage_, ipAddress_);
  }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("eventType", self.eventType_);
    visit("errorMessage", self.errorMessage_);
    visit("ipAddress", self.ipAddress_);
  }

 private:
  std::int32_t eventType_ = 0;
  HudString errorMessage_ = std::string();
  HudString ipAddress_ = std::string();
};

}  // namespace varno
