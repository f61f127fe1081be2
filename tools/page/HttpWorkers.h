#pragma once

#include <httplib.h>

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace varno::tool {

// The threads that serve connections, one each. They begin as they are needed.
class HttpWorkers : public httplib::TaskQueue {
 public:
  explicit HttpWorkers(std::size_t maxThreads) : maxThreads_(maxThreads) {}

  // Where every thread is at work, does the task at once, on the thread that accepts connections:
  // it then has to be quick, and isOverloaded() tells so.
  void enqueue(std::function<void()> task) override;
  void shutdown() override;

  static bool isOverloaded() noexcept;

 private:
  void work();

  std::size_t maxThreads_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::thread> threads_;
  std::vector<std::function<void()>> tasks_;  // no more than there are idle threads
  std::size_t idle_ = 0;
  bool isShutDown_ = false;
};

}  // namespace varno::tool
