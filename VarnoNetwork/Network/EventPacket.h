#pragma once

#include <VarnoNetwork/Network/HudPacket.h>

namespace varno {

// The base of the events: what the display reports to the phone.
class VARNO_EXPORT EventPacket : public HudPacket {
 public:
  static constexpr std::string_view kTypeName = "EventPacket";

  EventPacket() = default;

  std::uint8_t getCommand() const override { return 3; }
  std::string_view typeName() const override { return kTypeName; }

 protected:
  EventPacket(const EventPacket&) = default;
  EventPacket& operator=(const EventPacket&) = default;
};

}  // namespace varno
