#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Announces a software update.
class VARNO_EXPORT SoftwareUpdateCommandPacket
    : public TypedPacket<SoftwareUpdateCommandPacket, CommandPacket, 10, 1> {
 public:
  static constexpr std::string_view kTypeName = "SoftwareUpdateCommandPacket";

  // In a unit that the display defines.
  std::int64_t size() const { return size_; }
  void setSize(std::int64_t size) { size_ = size; }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("size", self.size_);
  }

 private:
  std::int64_t size_ = 0;
};

}  // namespace varno
