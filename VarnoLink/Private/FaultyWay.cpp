#include <VarnoLink/Private/FaultyWay.h>

#include <utility>

namespace varno {

FaultyWay::FaultyWay(LinkLoop& loop, Direction direction, std::uint64_t seed, OnEmission onEmission,
                     std::function<void()> onDue)
    : loop_(loop),
      timer_(loop),
      onEmission_(std::move(onEmission)),
      onDue_(std::move(onDue)),
      stage_(direction, seed) {}

bool FaultyWay::pass(std::span<const std::uint8_t> bytes) {
  std::vector<Kept> emissions;
  {
    const std::lock_guard lock(mutex_);
    if (!stage_.isTransparent()) {
      stage_.feed(loop_.clock().now(), bytes);
      emissions = takeDue();
      bytes = {};
    }
  }
  if (!bytes.empty()) {
    onEmission_({FaultStage::Emission::Kind::kBytes, bytes, {}, false}, true);
    return true;
  }
  emit(emissions);
  return false;
}

void FaultyWay::restart() {
  const std::lock_guard lock(mutex_);
  stage_.restart();
  timer_.cancel();
  waitingBytes_ = 0;
}

std::uint64_t FaultyWay::add(const Fault& fault) {
  const std::lock_guard lock(mutex_);
  return stage_.add(fault);
}

bool FaultyWay::remove(std::uint64_t id) {
  const std::lock_guard lock(mutex_);
  return stage_.remove(id);
}

void FaultyWay::clear() {
  const std::lock_guard lock(mutex_);
  stage_.clear();
}

std::vector<FaultStage::Entry> FaultyWay::entries() const {
  const std::lock_guard lock(mutex_);
  return stage_.entries();
}

// Under the lock.
std::vector<FaultyWay::Kept> FaultyWay::takeDue() {
  std::vector<Kept> emissions;
  FaultStage::Emission emission;
  const LinkTime now = loop_.clock().now();
  while (stage_.take(now, emission)) {
    emissions.push_back({emission.kind,
                         {emission.bytes.begin(), emission.bytes.end()},
                         std::string(emission.note),
                         emission.isAltered});
  }
  waitingBytes_ = stage_.waitingBytes();
  if (const auto due = stage_.nextDue()) timer_.at(*due, [this] { onTimer(); });
  return emissions;
}

void FaultyWay::onTimer() {
  std::vector<Kept> emissions;
  {
    const std::lock_guard lock(mutex_);
    emissions = takeDue();
  }
  emit(emissions);
  onDue_();
}

void FaultyWay::emit(const std::vector<Kept>& emissions) {
  for (const Kept& kept : emissions) {
    onEmission_({kept.kind, kept.bytes, kept.note, kept.isAltered}, false);
  }
}

}  // namespace varno
