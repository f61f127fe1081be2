#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoNetwork/Network/MainThread.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>

namespace varno {

// For a main thread that waits in poll, epoll or another loop for descriptors: one that is readable
// when the main thread's queue has tasks to run.
//
//   varno::MainThreadDescriptor tasks;
//   pollfd descriptors[] = {{tasks.number(), POLLIN, 0}, ...};
//   ...
//   if (descriptors[0].revents != 0) tasks.dispatch();
//
// On the main thread.
class VARNO_EXPORT MainThreadDescriptor {
 public:
  // queue: the main thread's; outlives this, which sets its wake-up. Several of one queue share
  // that, and with it the descriptor. Throws std::system_error where the system has no descriptors
  // left.
  explicit MainThreadDescriptor(MainThreadQueue& queue = MainThreadQueue::standard());

  // The last one takes the wake-up away. The queue stays open.
  ~MainThreadDescriptor();

  MainThreadDescriptor(const MainThreadDescriptor&) = delete;
  MainThreadDescriptor& operator=(const MainThreadDescriptor&) = delete;

  // The descriptor, only to be waited for.
  int number() const noexcept;

  // Runs the tasks that wait, and returns their number. What one of them throws leaves this; the
  // descriptor is then still readable if there are others. Without effect where there are none.
  std::size_t dispatch();

  // A loop for a program that waits for nothing else: runs tasks as they come until isDone()
  // returns true, which is asked first, after them and at the deadline. False when that passed
  // before. Throws what they throw.
  bool runUntil(std::chrono::steady_clock::time_point deadline,
                const std::function<bool()>& isDone);

 private:
  class WakePipe;
  class WakeUp;

  VARNO_INTERNAL static std::shared_ptr<WakeUp> wakeUpOf(MainThreadQueue& queue);

  MainThreadQueue& queue_;
  const std::shared_ptr<WakeUp> wakeUp_;
};

}  // namespace varno
