#pragma once

#include <cstdint>

namespace varno {

// What a network has done since it was made. A frame counts once its handling has ended, a packet
// once sendPacket has.
struct HudNetworkCounters {
  // Frames given to handleRawPacket; each counts in exactly one of these.
  std::uint64_t framesDelivered = 0;    // to every listener of their type
  std::uint64_t framesUnheard = 0;      // nobody listens to their type
  std::uint64_t framesOfUnknownId = 0;  // dropped, as the next two
  std::uint64_t framesWithPayloadEnding = 0;
  std::uint64_t framesWithPayloadRefused = 0;
  std::uint64_t framesMalformed = 0;  // not one whole frame, or without three identifiers
  std::uint64_t framesFailed = 0;     // anything else threw, for example a listener

  std::uint64_t packetsSent = 0;
  std::uint64_t packetsFailed = 0;  // sendPacket returned false

  std::uint64_t framesDropped() const {
    return framesOfUnknownId + framesWithPayloadEnding + framesWithPayloadRefused;
  }
  // Frames for which handleRawPacket threw, other than by the drop observer.
  std::uint64_t framesRefused() const { return framesMalformed + framesFailed; }
  std::uint64_t framesReceived() const {
    return framesDelivered + framesUnheard + framesDropped() + framesRefused();
  }
};

}  // namespace varno
