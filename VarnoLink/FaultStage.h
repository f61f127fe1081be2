#pragma once

#include <VarnoLink/Clock.h>
#include <VarnoLink/Fault.h>
#include <VarnoNetwork/Export.h>
#include <VarnoTraffic/TrafficRecord.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace varno {

// Puts faults into the bytes that go in one direction:
//
//   stage.pass(clock.now(), received, [&](const FaultStage::Emission& emission) {
//     if (emission.kind == FaultStage::Emission::Kind::kBytes) link.send(emission.bytes);
//   });
//
// It neither sleeps nor asks what time it is: its owner calls passDue when nextDue() has come. With
// the same seed, the same faults, and the same bytes in the same chunks at the same times it always
// does the same.
//
// Faults act on frames, as a FrameCutter cuts them. Bytes outside any frame, and what is torn,
// short or too long, pass as they are, but `limit` counts them; nothing ever overtakes what came
// before it. The faults act on a frame in the order in which they were added, each on what those
// before it left of it; both frames of `duplicate` reach those behind it. A fault that cannot act
// on a frame, as `corrupt byte=20` on one of 12 bytes or `stall` while nothing leaves anyhow,
// leaves it alone and does not count it. Of two `slicer` the one added last holds, of two
// `bandwidth` the slower one; the times of two `latency` add up.
//
// While a fault may act, a frame is held back until it is whole. Once none may act any more,
// because there is none or each has reached its count, bytes pass in the chunks in which they come;
// a fault that is added in the middle of a frame acts from the next one on.
//
// One thread at a time.
class VARNO_EXPORT FaultStage {
 public:
  // What leaves. Valid until the stage's next operation.
  struct Emission {
    enum class Kind : std::uint8_t {
      kBytes,  // the bytes leave, in one piece; none where a fault left nothing and says so
      kClose,  // the link is to be closed; until restart() nothing more leaves
      kReset,  // the link is to be reset, likewise
    };

    Kind kind = Kind::kBytes;
    std::span<const std::uint8_t> bytes;
    // The faults that acted, as "corrupt byte=7 bit=3", with what was left to chance; empty where
    // none did and nothing else is to be said, and for all but the first piece of a frame.
    std::string_view note;
    // Whether the bytes are others than came, or more, or fewer. Faults of time change none.
    bool isAltered = false;
  };

  // A fault that was added.
  struct Entry {
    std::uint64_t id = 0;
    Fault fault;
    std::uint64_t acted = 0;  // on how many frames
  };

  // direction: that of the bytes; two stages of one seed act by different chances.
  explicit FaultStage(Direction direction, std::uint64_t seed = 1);
  FaultStage(FaultStage&&) noexcept;
  FaultStage& operator=(FaultStage&&) noexcept;
  ~FaultStage();

  // Returns the fault's id, which is never used again. Its chances depend on the seed and on how
  // many were added before it, and not on what those do. Throws InvalidArgumentException for a
  // fault with a faultProblem.
  std::uint64_t add(const Fault& fault);

  // Ends a fault. What has it behind itself already is not changed any more. False where there is
  // no such fault.
  bool remove(std::uint64_t id);
  void clear();

  // Those that were added and not removed, in their order, those that reached their count included.
  std::vector<Entry> entries() const;

  // Takes bytes that came, and calls onEmission for what leaves at once. Where no fault may act and
  // nothing waits, that is the bytes themselves, uncopied.
  template <class OnEmission>
  void pass(LinkTime now, std::span<const std::uint8_t> bytes, OnEmission&& onEmission) {
    if (isTransparent()) {
      if (!bytes.empty()) onEmission(Emission{Emission::Kind::kBytes, bytes, {}, false});
      return;
    }
    feed(now, bytes);
    passDue(now, onEmission);
  }

  // Calls onEmission for what leaves by now.
  template <class OnEmission>
  void passDue(LinkTime now, OnEmission&& onEmission) {
    Emission emission;
    while (take(now, emission)) onEmission(static_cast<const Emission&>(emission));
  }

  // Takes bytes that are no part of the stream that comes, between two of its frames, through the
  // faults. note: stands before what the faults did, in what leaves.
  void insert(LinkTime now, std::span<const std::uint8_t> bytes, std::string_view note);

  // When something leaves next; none where nothing waits.
  std::optional<LinkTime> nextDue() const;

  // What has not left yet, a frame that is not whole included: an owner who takes no more bytes
  // above some number of them bounds the stage's memory.
  std::size_t waitingBytes() const;

  // The stream of bytes that come ended, as when the link that they come from went down: a frame
  // that is not whole leaves as it is.
  void finish(LinkTime now);

  // The link that the bytes leave by is up anew: what waits is dropped, and `limit` counts from 0.
  void restart();

  // The two steps of pass: feed takes bytes, take gives out the next piece that leaves by now.
  void feed(LinkTime now, std::span<const std::uint8_t> bytes);
  bool take(LinkTime now, Emission& emission);

  // Whether bytes pass as they come.
  bool isTransparent() const noexcept;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace varno
