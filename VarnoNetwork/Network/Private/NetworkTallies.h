#pragma once

#include <VarnoNetwork/Network/HudNetworkCounters.h>
#include <VarnoNetwork/Network/Private/Tally.h>

namespace varno {

// Behind a network's counters.
struct NetworkTallies {
  HudNetworkCounters counters() const noexcept {
    return {.framesDelivered = delivered.count(),
            .framesUnheard = unheard.count(),
            .framesOfUnknownId = unknownId.count(),
            .framesWithPayloadEnding = payloadEnds.count(),
            .framesWithPayloadRefused = payloadRefused.count(),
            .framesMalformed = malformed.count(),
            .framesFailed = failed.count(),
            .packetsSent = sent.count(),
            .packetsFailed = notSent.count()};
  }

  // Raised under the listener lock.
  Tally delivered;
  Tally unheard;

  Tally unknownId;
  Tally payloadEnds;
  Tally payloadRefused;
  Tally malformed;
  Tally failed;
  Tally notSent;
  OwnedTally sent;
};

// Counts a frame when its handling ends, also by an exception, in the tally that was named last.
class FrameCount {
 public:
  explicit FrameCount(Tally& tally) noexcept : tally_(&tally) {}
  ~FrameCount() {
    if (tally_ != nullptr) tally_->add();
  }
  FrameCount(const FrameCount&) = delete;
  FrameCount& operator=(const FrameCount&) = delete;

  void in(Tally& tally) noexcept { tally_ = &tally; }
  void isDone() noexcept { tally_ = nullptr; }

 private:
  Tally* tally_;
};

}  // namespace varno
