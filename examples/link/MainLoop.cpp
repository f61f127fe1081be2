#include "MainLoop.h"

namespace varno::example {

MainLoop::MainLoop(MainThreadQueue& queue) : queue_(queue) {
  // Shares the pipe: a thread may still be in here when the loop is destroyed.
  queue_.setWakeUp([wakeUp = wakeUp_] { wakeUp->wake(); });
}

MainLoop::~MainLoop() {
  quit();
  queue_.setWakeUp(nullptr);
}

bool MainLoop::runUntil(Deadline deadline, const std::function<bool()>& isDone) {
  for (;;) {
    queue_.runPending();
    if (isDone()) return true;
    pollfd polled{wakeUp_->descriptor(), POLLIN, 0};
    if (!pollUntil({&polled, 1}, deadline)) return false;
    wakeUp_->drain();
  }
}

void MainLoop::quit() { queue_.quit(); }

}  // namespace varno::example
