#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

#include <string>
#include <utility>

namespace varno {

// Makes the display join a Wi-Fi network as a station.
class VARNO_EXPORT WifiStationModeCommandPacket
    : public TypedPacket<WifiStationModeCommandPacket, CommandPacket, 16, 0> {
 public:
  static constexpr std::string_view kTypeName = "WifiStationModeCommandPacket";

  const HudString& ssid() const { return ssid_; }
  void setSsid(HudString ssid) { ssid_ = std::move(ssid); }

  // Shown in clear by the description.
  const HudString& password() const { return password_; }
  void setPassword(HudString password) { password_ = std::move(password); }

  // A code that the display defines.
  std::int32_t securityType() const { return securityType_; }
  void setSecurityType(std::int32_t securityType) { securityType_ = securityType; }

  // The label "security" differs from the field's name on purpose.
  std::string description() const override {
    return describe("%@[ssid : %@ password : %@ security : %d]", ssid_, password_, securityType_);
  }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("ssid", self.ssid_);
    visit.secret("password", self.password_);
    visit("securityType", self.securityType_);
  }

 private:
  HudString ssid_ = std::string();
  HudString password_ = std::string();
  std::int32_t securityType_ = 2;
};

}  // namespace varno
