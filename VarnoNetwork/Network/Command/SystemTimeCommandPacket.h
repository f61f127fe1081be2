#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

#include <utility>

namespace varno {

// Sets the display's clock and time zone.
class VARNO_EXPORT SystemTimeCommandPacket
    : public TypedPacket<SystemTimeCommandPacket, CommandPacket, 1, 0> {
 public:
  static constexpr std::string_view kTypeName = "SystemTimeCommandPacket";

  // Milliseconds.
  std::int64_t timeInMillis() const { return timeInMillis_; }
  void setTimeInMillis(std::int64_t timeInMillis) { timeInMillis_ = timeInMillis; }

  // A time-zone identifier, for example "GMT".
  const HudString& timeZoneId() const { return timeZoneId_; }
  void setTimeZoneId(HudString timeZoneId) { timeZoneId_ = std::move(timeZoneId); }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("timeInMillis", self.timeInMillis_);
    visit("timeZoneId", self.timeZoneId_);
  }

 private:
  std::int64_t timeInMillis_ = 0;
  HudString timeZoneId_ = "GMT";
};

}  // namespace varno
