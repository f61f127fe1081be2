#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Sets how long the display shows a notification.
class VARNO_EXPORT NotiTimeoutCommandPacket
    : public TypedPacket<NotiTimeoutCommandPacket, CommandPacket, 9, 1> {
 public:
  static constexpr std::string_view kTypeName = "NotiTimeoutCommandPacket";

  // In a unit that the display defines.
  std::int32_t timeout() const { return timeout_; }
  void setTimeout(std::int32_t timeout) { timeout_ = timeout; }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("timeout", self.timeout_);
  }

 private:
  std::int32_t timeout_ = 10;
};

}  // namespace varno
