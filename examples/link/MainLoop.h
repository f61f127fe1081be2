#pragma once

#include "WakePipe.h"

#include <VarnoNetwork/Network/MainThread.h>

#include <functional>
#include <memory>

namespace varno::example {

// Runs the main thread's tasks from a poll() loop, as an application does whose main thread waits
// for other things too. On the main thread.
class MainLoop {
 public:
  // queue: the main thread's; outlives the loop, which is its only one.
  explicit MainLoop(MainThreadQueue& queue = MainThreadQueue::standard());

  // Quits. So where one scope holds a reader and a loop, the loop is declared after the reader, and
  // the reader's thread is free to end when the reader is destroyed.
  ~MainLoop();

  MainLoop(const MainLoop&) = delete;
  MainLoop& operator=(const MainLoop&) = delete;

  // Runs tasks as they come until isDone, which is asked after them, returns true. False when the
  // deadline passed first. Throws what isDone throws.
  bool runUntil(Deadline deadline, const std::function<bool()>& isDone);

  // Closes the queue for good.
  void quit();

 private:
  MainThreadQueue& queue_;
  const std::shared_ptr<WakePipe> wakeUp_ = std::make_shared<WakePipe>();
};

}  // namespace varno::example
