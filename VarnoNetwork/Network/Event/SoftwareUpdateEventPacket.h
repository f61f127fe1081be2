#pragma once

#include <VarnoNetwork/Network/EventPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

#include <utility>

namespace varno {

// Reports a software update.
class VARNO_EXPORT SoftwareUpdateEventPacket
    : public TypedPacket<SoftwareUpdateEventPacket, EventPacket, 4, 1> {
 public:
  static constexpr std::string_view kTypeName = "SoftwareUpdateEventPacket";
  static constexpr std::string_view kPayloadNote =
      "serverIp is not carried: a received packet has its default.";
  static constexpr const char* kDefaultServerIp = "192.168.43.1";

  // The IPv4 address of the update server, in dotted decimals.
  const HudString& serverIp() const { return serverIp_; }
  void setServerIp(HudString serverIp) { serverIp_ = std::move(serverIp); }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit.unsent("serverIp", self.serverIp_);
  }

 private:
  HudString serverIp_ = kDefaultServerIp;
};

}  // namespace varno
