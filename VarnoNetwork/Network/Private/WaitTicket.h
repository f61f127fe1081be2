#pragma once

#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <utility>

namespace varno {

// Shared by a waiting thread and the task that it has posted. It outlives both, so a task may run
// late; the waiting thread's own data is used only while that thread waits.
class WaitTicket {
 public:
  enum class State { kQueued, kRunning, kDone, kRefused, kCanceled };

  // task: outlives the wait.
  explicit WaitTicket(const std::function<void()>& task) : task_(task) {}

  // Runs the task, unless it has already run or nobody waits for it any more.
  void run() {
    {
      const std::lock_guard lock(mutex_);
      if (state_ != State::kQueued) return;
      state_ = State::kRunning;
    }
    try {
      task_();
    } catch (...) {
      failure_ = std::current_exception();
    }
    {
      const std::lock_guard lock(mutex_);
      state_ = State::kDone;
    }
    ended_.notify_one();
  }

  // Ends the wait unless the task has begun; says whether the task will never run.
  bool refuse() noexcept { return end(State::kRefused); }
  bool cancel() noexcept { return end(State::kCanceled); }

  // Waits for the end and returns how it ended. If that takes longer than `limit`, calls onSlow
  // once, with whether the task is running. A limit of 0 means no limit.
  template <class OnSlow>
  State wait(std::chrono::milliseconds limit, OnSlow onSlow) {
    std::unique_lock lock(mutex_);
    const auto hasEnded = [this] { return state_ != State::kQueued && state_ != State::kRunning; };
    if (limit.count() > 0 && !ended_.wait_for(lock, limit, hasEnded)) {
      const bool isRunning = state_ == State::kRunning;
      lock.unlock();
      onSlow(isRunning);
      lock.lock();
    }
    ended_.wait(lock, hasEnded);
    return state_;
  }

  // After a wait that ended with kDone: throws what the task threw.
  void rethrowFailure() {
    if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
  }

 private:
  bool end(State state) noexcept {
    {
      const std::lock_guard lock(mutex_);
      if (state_ == State::kRunning || state_ == State::kDone) return false;
      if (state_ == State::kQueued) state_ = state;
    }
    ended_.notify_one();
    return true;
  }

  const std::function<void()>& task_;
  std::exception_ptr failure_;
  std::mutex mutex_;
  State state_ = State::kQueued;
  std::condition_variable ended_;
};

// Lets the cancellations of the calling thread reach a ticket while it lives. Waits nest: the log
// line about a slow wait may itself wait for the main thread. The ticket of the outer wait is then
// reached again when the inner one has ended.
class CancelableWait {
 public:
  explicit CancelableWait(WaitTicket& ticket) noexcept;
  ~CancelableWait();
  CancelableWait(const CancelableWait&) = delete;
  CancelableWait& operator=(const CancelableWait&) = delete;

  // Whether a wait of the calling thread would be canceled at once.
  static bool isCanceled() noexcept;

 private:
  WaitTicket* outer_ = nullptr;
};

}  // namespace varno
