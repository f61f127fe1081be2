#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

namespace varno {

// A count that any thread may raise and read, without a lock and without a lost step.
class Tally {
 public:
  void add() noexcept { count_.fetch_add(1, std::memory_order_relaxed); }

  // Several times as fast, for those who raise it one at a time.
  void addAlone() noexcept {
    count_.store(count_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  }

  std::uint64_t count() const noexcept { return count_.load(std::memory_order_relaxed); }

 private:
  std::atomic<std::uint64_t> count_ = 0;
};

// The same, made for one thread that does nearly all of the counting: the first that comes. It
// counts alone, the others together.
class OwnedTally {
 public:
  void add() noexcept {
    const std::thread::id self = std::this_thread::get_id();
    if (owner_.load(std::memory_order_relaxed) == self) {
      own_.addAlone();
    } else {
      addAsStranger(self);
    }
  }

  std::uint64_t count() const noexcept { return own_.count() + others_.count(); }

 private:
  void addAsStranger(std::thread::id self) noexcept {
    std::thread::id nobody;
    if (owner_.compare_exchange_strong(nobody, self, std::memory_order_relaxed)) {
      own_.addAlone();
    } else {
      others_.add();
    }
  }

  // The system gives the id of a thread that ended to a later one, which is then the owner. Only
  // one thread has the id at a time, and the end of the first comes before the start of the second.
  std::atomic<std::thread::id> owner_ = std::thread::id();
  Tally own_;
  Tally others_;
};

}  // namespace varno
