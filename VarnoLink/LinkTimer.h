#pragma once

#include <VarnoLink/LinkLoop.h>

#include <chrono>
#include <memory>

namespace varno {

// Calls a task at a time. On the loop's thread.
class VARNO_EXPORT LinkTimer {
 public:
  explicit LinkTimer(LinkLoop& loop);

  // Cancels.
  ~LinkTimer();

  LinkTimer(const LinkTimer&) = delete;
  LinkTimer& operator=(const LinkTimer&) = delete;

  // Has the task called once, at that time of the loop's clock or as soon after it as possible.
  // Whatever was set before is canceled. Throws std::bad_alloc; then nothing is set.
  void at(LinkTime time, LinkLoop::Task task);
  void after(std::chrono::nanoseconds duration, LinkLoop::Task task);

  // The task will not be called.
  void cancel() noexcept;

  // Whether a task is set that has not been called yet.
  bool isSet() const noexcept;

 private:
  struct State;
  const std::shared_ptr<State> state_;
};

}  // namespace varno
