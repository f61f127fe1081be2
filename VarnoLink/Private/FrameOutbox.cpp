#include <VarnoLink/Private/FrameOutbox.h>

#include <VarnoLink/Private/Poll.h>

namespace varno {

bool FrameOutbox::push(std::span<const std::uint8_t> frame, OnGiven&& onGiven) {
  const std::lock_guard lock(mutex_);
  if (!isOpen_ || frames_ >= limits_.frames) return false;
  const std::size_t waiting = bytes_ + otherBytes_;
  if (waiting > limits_.bytes || frame.size() > limits_.bytes - waiting) return false;
  if (!isAwake_) wake_();
  isAwake_ = true;
  coming_.sizes.push_back(frame.size());
  try {
    if (onGiven) told_.emplace_back(pushed_ + 1, std::move(onGiven));
    coming_.bytes.insert(coming_.bytes.end(), frame.begin(), frame.end());
  } catch (...) {
    coming_.sizes.pop_back();
    if (!told_.empty() && told_.back().first > pushed_) told_.pop_back();
    throw;
  }
  ++pushed_;
  ++frames_;
  bytes_ += frame.size();
  return true;
}

bool FrameOutbox::waitUntilGiven(std::chrono::milliseconds timeout) {
  std::unique_lock lock(mutex_);
  const std::uint64_t pushed = pushed_;
  const std::uint64_t lost = lost_;
  const auto isThrough = [&] { return given_ + lost_ >= pushed && otherBytes_ == 0; };
  return changed_.wait_until(lock, deadlineAfter(timeout), isThrough) && lost_ == lost;
}

void FrameOutbox::open() {
  const std::lock_guard lock(mutex_);
  isOpen_ = true;
}

void FrameOutbox::close(const Tell& tell) {
  std::list<Told> untold;
  {
    const std::lock_guard lock(mutex_);
    isOpen_ = false;
    coming_ = {};
    lost_ += frames_;
    frames_ = bytes_ = otherBytes_ = 0;
    untold.swap(told_);
    changed_.notify_all();
  }
  for (auto& [number, onGiven] : untold) tell(std::move(onGiven));
}

void FrameOutbox::take(Batch& batch) {
  // The memory is kept for the next frames, unless it is much.
  constexpr std::size_t kKeptMemory = std::size_t{1} << 18;
  if (batch.bytes.capacity() > kKeptMemory) batch = {};
  batch.bytes.clear();
  batch.sizes.clear();
  const std::lock_guard lock(mutex_);
  isAwake_ = false;
  std::swap(batch, coming_);
}

void FrameOutbox::give(std::size_t frames, std::size_t bytes, const Tell& tell) {
  std::list<Told> given;
  {
    const std::lock_guard lock(mutex_);
    if (!isOpen_) return;  // they count as lost already
    given_ += frames;
    frames_ -= frames;
    bytes_ -= bytes;
    while (!told_.empty() && told_.front().first <= given_ + lost_) {
      given.splice(given.end(), told_, told_.begin());
    }
    changed_.notify_all();
  }
  for (auto& [number, onGiven] : given) tell(std::move(onGiven));
}

void FrameOutbox::setOtherBytes(std::size_t bytes) {
  const std::lock_guard lock(mutex_);
  otherBytes_ = bytes;
  changed_.notify_all();
}

std::uint64_t FrameOutbox::given() const {
  const std::lock_guard lock(mutex_);
  return given_;
}

std::uint64_t FrameOutbox::lost() const {
  const std::lock_guard lock(mutex_);
  return lost_;
}

}  // namespace varno
