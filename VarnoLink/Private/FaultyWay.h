#pragma once

#include <VarnoLink/FaultStage.h>
#include <VarnoLink/LinkLoop.h>
#include <VarnoLink/LinkTimer.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <span>
#include <string>
#include <vector>

namespace varno {

// One direction of a link: its bytes go through faults, which any thread may add and remove. On the
// loop's thread, but for what is said.
class FaultyWay {
 public:
  // What leaves; isUntouched where no fault can have seen it.
  using OnEmission = std::function<void(const FaultStage::Emission& emission, bool isUntouched)>;

  // onDue: called when something that waited has left, behind its emissions.
  FaultyWay(LinkLoop& loop, Direction direction, std::uint64_t seed, OnEmission onEmission,
            std::function<void()> onDue);

  // False where a fault may act on the bytes, which then leave changed or later.
  bool pass(std::span<const std::uint8_t> bytes);

  // A new connection begins.
  void restart();

  // What waits for its time or for the rest of a frame.
  std::size_t waitingBytes() const { return waitingBytes_; }

  // On any thread.
  std::uint64_t add(const Fault& fault);
  bool remove(std::uint64_t id);
  void clear();
  std::vector<FaultStage::Entry> entries() const;

 private:
  // An emission that is kept until the lock was released.
  struct Kept {
    FaultStage::Emission::Kind kind;
    std::vector<std::uint8_t> bytes;
    std::string note;
    bool isAltered;
  };

  std::vector<Kept> takeDue();
  void onTimer();
  void emit(const std::vector<Kept>& emissions);

  LinkLoop& loop_;
  LinkTimer timer_;
  const OnEmission onEmission_;
  const std::function<void()> onDue_;
  std::size_t waitingBytes_ = 0;
  mutable std::mutex mutex_;  // guards the stage
  FaultStage stage_;
};

}  // namespace varno
