#include "tools/page/HttpWorkers.h"

#include <system_error>
#include <utility>

namespace varno::tool {
namespace {

thread_local bool isOverloadedHere = false;

}  // namespace

bool HttpWorkers::isOverloaded() noexcept { return isOverloadedHere; }

void HttpWorkers::enqueue(std::function<void()> task) {
  std::unique_lock lock(mutex_);
  bool hasThread = idle_ > tasks_.size();
  if (!hasThread && threads_.size() < maxThreads_) {
    try {
      threads_.emplace_back([this] { work(); });
      ++idle_;
      hasThread = true;
    } catch (const std::system_error&) {
      // The system has no more threads: as where all are at work.
    }
  }
  if (hasThread) {
    tasks_.push_back(std::move(task));
    changed_.notify_one();
    return;
  }
  lock.unlock();
  isOverloadedHere = true;
  task();
  isOverloadedHere = false;
}

void HttpWorkers::work() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return !tasks_.empty() || isShutDown_; });
    if (tasks_.empty()) return;
    const std::function<void()> task = std::move(tasks_.back());
    tasks_.pop_back();
    --idle_;
    lock.unlock();
    task();
    lock.lock();
    ++idle_;
  }
}

void HttpWorkers::shutdown() {
  {
    const std::lock_guard lock(mutex_);
    isShutDown_ = true;
  }
  changed_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

}  // namespace varno::tool
