#pragma once

#include <VarnoNetwork/Network/HudPacket.h>

namespace varno {

// The base of the commands: what the phone tells the display to do.
class VARNO_EXPORT CommandPacket : public HudPacket {
 public:
  static constexpr std::string_view kTypeName = "CommandPacket";

  CommandPacket() = default;

  std::uint8_t getCommand() const override { return 2; }
  std::string_view typeName() const override { return kTypeName; }

 protected:
  CommandPacket(const CommandPacket&) = default;
  CommandPacket& operator=(const CommandPacket&) = default;
};

}  // namespace varno
