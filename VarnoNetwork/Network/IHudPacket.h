#pragma once

#include <VarnoNetwork/Export.h>

#include <cstdint>

namespace varno {

class HudInputStream;
class HudOutputStream;

// A message between phone and display: three identifiers and a payload.
class VARNO_EXPORT IHudPacket {
 public:
  virtual ~IHudPacket() = default;

  virtual std::uint8_t getCommand() const = 0;  // the family: 1 notification, 2 command, 3 event
  virtual std::uint8_t getParam1() const = 0;   // with param2, the packet within its family
  virtual std::uint8_t getParam2() const = 0;

  // Writes the payload's fields.
  virtual void appendPayload(HudOutputStream& stream) const = 0;

  // Reads the payload's fields and says whether the packet is usable.
  virtual bool parsePayload(HudInputStream& stream) = 0;

 protected:
  IHudPacket() = default;
  IHudPacket(const IHudPacket&) = default;
  IHudPacket& operator=(const IHudPacket&) = default;
};

}  // namespace varno
