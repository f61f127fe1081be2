#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoNetwork/Network/PacketType.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

namespace varno {

// A frame that a network dropped without an error, or a packet type that it left out: what
// HudNetwork::setDropObserver tells.
struct VARNO_EXPORT PacketDrop {
  enum class Reason {
    kUnknownId,       // no packet type has the frame's identifiers
    kPayloadEnds,     // the payload ends inside a field
    kPayloadRefused,  // the packet type does not take the payload
    kTypeLeftOut,     // the network was made without the type, whose construction failed
  };

  Reason reason = Reason::kUnknownId;

  // Those of the frame; zeros where a type was left out.
  PacketIdentifiers identifiers = {};

  // None where the id is unknown.
  std::optional<PacketType> type = {};

  // The field at which reading failed, as "soundDevice.name"; empty where that is not known.
  std::string field = {};

  // Where the payload ends (kPayloadEnds): the index in the frame, STX being 0, of the byte found
  // where another byte of the field was expected.
  std::uint64_t position = 0;

  // What the type's construction threw (kTypeLeftOut), in its own words.
  std::string cause = {};

  // The frame, marks included; valid while the observer runs. Empty where a type was left out.
  std::span<const std::uint8_t> frame = {};

  // One line that tells all of it, such as "SystemTimeCommandPacket: the payload ends inside
  // timeInMillis at byte 5". The cause in it is the application's own text.
  std::string description() const;
};

using DropObserver = std::function<void(const PacketDrop& drop)>;

}  // namespace varno
