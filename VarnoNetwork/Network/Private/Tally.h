#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

namespace varno {

// A count that any thread may raise and read, without a lock and without a lost step.
class Tally {
 public:
  void add() noexcept { count_.fetch_add(1, std::memory_order_relaxed); }

  // Several times as fast, for callers that never run at the same time.
  void addAlone() noexcept {
    count_.store(count_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  }

  std::uint64_t count() const noexcept { return count_.load(std::memory_order_relaxed); }

 private:
  std::atomic<std::uint64_t> count_ = 0;
};

// A value that differs between living threads. Reading the thread pointer costs nothing; the thread
// id costs a call.
inline auto currentThread() noexcept {
#if defined(__linux__) && (defined(__x86_64__) || defined(__aarch64__))
  return __builtin_thread_pointer();
#else
  return std::this_thread::get_id();
#endif
}

// The same, for the case that one thread does nearly all of the counting. The first thread that
// counts becomes the owner, with a count of its own; all others share a second count.
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

  // A later thread may get the value of one that has ended, and is then the owner. That is safe:
  // only one living thread has the value, and the first one ended before the second started.
  std::atomic<Thread> owner_ = Thread();
  Tally own_;
  Tally others_;
};

}  // namespace varno
