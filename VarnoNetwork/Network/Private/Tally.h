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

// Tells the threads that live apart. The thread pointer costs nothing, the id a call.
inline auto currentThread() noexcept {
#if defined(__linux__) && (defined(__x86_64__) || defined(__aarch64__))
  return __builtin_thread_pointer();
#else
  return std::this_thread::get_id();
#endif
}

// The same, made for one thread that does nearly all of the counting: the first that comes. It
// counts alone, the others together.
class OwnedTally {
 public:
  void add() noexcept {
    const Thread self = currentThread();
    if (owner_.load(std::memory_order_relaxed) == self) {
      own_.addAlone();
    } else {
      addAsStranger(self);
    }
  }

  std::uint64_t count() const noexcept { return own_.count() + others_.count(); }

 private:
  using Thread = decltype(currentThread());

  void addAsStranger(Thread self) noexcept {
    Thread nobody = {};
    if (owner_.compare_exchange_strong(nobody, self, std::memory_order_relaxed)) {
      own_.addAlone();
    } else {
      others_.add();
    }
  }

  // What tells a thread that ended is given again to a later one, which is then the owner. Only one
  // thread at a time has it, and the end of the first comes before the start of the second.
  std::atomic<Thread> owner_ = Thread();
  Tally own_;
  Tally others_;
};

}  // namespace varno
