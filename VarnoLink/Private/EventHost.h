#pragma once

#include <VarnoLink/Private/HandlerMemory.h>
#include <VarnoLink/Private/LoopCore.h>

#include <asio/bind_allocator.hpp>
#include <asio/post.hpp>

#include <array>
#include <chrono>
#include <cstdint>
#include <exception>
#include <memory>
#include <new>
#include <utility>

namespace varno {

// What Asio's callbacks reach of a link. It stays until the last of them has come, and lets those
// pass that are of the present epoch: an attempt with the connection made in it, or the pause
// before the next.
class EventHost : public std::enable_shared_from_this<EventHost> {
 public:
  // Of each, one may be waited for at a time. Two kinds of timer, since the one for the next
  // attempt is set when memory has run out, and must find its room free.
  enum class Event : std::uint8_t { kTask, kReadable, kWritable, kTimer, kRetry };

  virtual ~EventHost() = default;
  EventHost(const EventHost&) = delete;
  EventHost& operator=(const EventHost&) = delete;

  LoopCore& loop() { return loop_; }
  std::uint64_t epoch() const { return epoch_; }

  // Forgets everything that is waited for.
  void beginEpoch() {
    ++epoch_;
    timer_.stop();
    retryTimer_.stop();
  }

  // Call action() later, in the loop's run(), unless the epoch ends before.
  template <class Action>
  void post(Action action) {
    asio::post(loop_.context(), bind(Event::kTask, std::move(action)));
  }
  template <class Action>
  void waitReadable(LoopDescriptor& descriptor, Action action) {
    descriptor.async_wait(asio::posix::descriptor_base::wait_read,
                          bind(Event::kReadable, std::move(action)));
  }
  template <class Action>
  void waitWritable(LoopDescriptor& descriptor, Action action) {
    descriptor.async_wait(asio::posix::descriptor_base::wait_write,
                          bind(Event::kWritable, std::move(action)));
  }
  // Replaces what waited for the timer.
  template <class Action>
  void waitFor(std::chrono::nanoseconds duration, Action action) {
    wait(timer_, Event::kTimer, duration, std::move(action));
  }
  // The same for a time limit; without effect where that is zero.
  template <class Action>
  void limit(std::chrono::nanoseconds duration, Action action) {
    if (duration > std::chrono::nanoseconds(0)) waitFor(duration, std::move(action));
  }
  void stopTimer() { timer_.stop(); }

  // Calls action() now, unless that epoch has ended.
  template <class Action>
  void runIn(std::uint64_t epoch, Action&& action) {
    if (epoch != epoch_) return;
    isRunning_ = true;
    try {
      action();
    } catch (const std::exception&) {
      onThrown();
    }
    isRunning_ = false;
    onRun();
    if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
  }

 protected:
  explicit EventHost(LoopCore& loop)
      : loop_(loop), timer_(loop.context()), retryTimer_(loop.context()) {}

  template <class Action>
  void retryIn(std::chrono::nanoseconds duration, Action action) {
    wait(retryTimer_, Event::kRetry, duration, std::move(action));
  }

  // Whether an action is running.
  bool isRunning() const { return isRunning_; }

  // Calls a handler of the application. What it throws, but for std::bad_alloc, leaves the loop's
  // run() when the action has ended.
  template <class Handler, class... Arguments>
  void call(const Handler& handler, const Arguments&... arguments) {
    if (!handler) return;
    try {
      handler(arguments...);
    } catch (const std::bad_alloc&) {
      throw;
    } catch (...) {
      if (!thrown_) thrown_ = std::current_exception();
    }
  }
  bool hasThrown() const { return thrown_ != nullptr; }

  // Called where an action threw what is caught just now: memory ran out, or the system refused
  // something. Throws nothing.
  virtual void onThrown() noexcept = 0;

  // An action has ended.
  virtual void onRun() noexcept = 0;

 private:
  struct Timer {
    explicit Timer(asio::io_context& context) : timer(context) {}
    void stop() noexcept {
      ++serial;
      try {
        timer.cancel();
      } catch (...) {
        // Its callback, should it come, has no effect.
      }
    }

    LoopTimer timer;
    std::uint64_t serial = 0;  // its callback may wait already when it is stopped
  };

  template <class Action>
  void wait(Timer& timer, Event event, std::chrono::nanoseconds duration, Action action) {
    timer.stop();
    timer.timer.expires_after(duration);
    timer.timer.async_wait(bind(event, [&timer, serial = timer.serial, action]() mutable {
      if (serial == timer.serial) action();
    }));
  }

  template <class Action>
  auto bind(Event event, Action action) {
    HandlerMemory& memory = memory_[static_cast<std::size_t>(event)];
    return asio::bind_allocator(
        HandlerAllocator<std::byte>(memory),
        [host = shared_from_this(), epoch = epoch_, action = std::move(action)](
            const asio::error_code& = {}) mutable { host->runIn(epoch, action); });
  }

  LoopCore& loop_;
  std::array<HandlerMemory, 5> memory_;
  Timer timer_;
  Timer retryTimer_;
  std::uint64_t epoch_ = 0;
  std::exception_ptr thrown_;
  bool isRunning_ = false;
};

}  // namespace varno
