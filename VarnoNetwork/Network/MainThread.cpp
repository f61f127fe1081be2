#include <VarnoNetwork/Network/HudException.h>
#include <VarnoNetwork/Network/HudLog.h>
#include <VarnoNetwork/Network/MainThread.h>
#include <VarnoNetwork/Network/Private/WaitTicket.h>
#include <VarnoNetwork/Network/TextFormat.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

namespace varno {
namespace {

constinit std::atomic<std::int32_t> slowWaitMilliseconds = 5000;  // 0: never logged

void logSlowWait(std::int64_t milliseconds, bool isRunning,
                 const std::function<std::string()>& describe) noexcept {
  try {
    std::string task = "a task";
    try {
      if (describe) task = describe();
    } catch (...) {
      // The line is useful without the description.
    }
    HudLog::write(formatText("waiting for the main thread : %lld ms, %@ (%@)", milliseconds, task,
                             isRunning ? "running" : "not begun"));
  } catch (...) {
    // No memory is left for the line, and the wait goes on.
  }
}

// Owned by all copies of a posted task: when the last copy is destroyed, nobody can run the task
// any more.
struct Claim {
  explicit Claim(std::shared_ptr<WaitTicket> claimed) : ticket(std::move(claimed)) {}
  ~Claim() { ticket->refuse(); }
  Claim(const Claim&) = delete;
  Claim& operator=(const Claim&) = delete;

  const std::shared_ptr<WaitTicket> ticket;
};

}  // namespace

constinit std::atomic<MainThread*> MainThread::current_ = nullptr;

MainThread::~MainThread() = default;

void MainThread::runAndWait(const Task& task, const std::function<std::string()>& describe) {
  if (isCurrent()) {
    task();
    return;
  }
  if (CancelableWait::isCanceled()) throw WaitCanceledException();
  const auto ticket = std::make_shared<WaitTicket>(task);
  try {
    post([claim = std::make_shared<const Claim>(ticket)] { claim->ticket->run(); });
  } catch (...) {
    // If the loop has begun the task nevertheless, wait for its end.
    if (ticket->refuse()) throw;
  }
  const CancelableWait wait(*ticket);
  const std::chrono::milliseconds limit(slowWaitMilliseconds.load(std::memory_order_relaxed));
  const auto onSlow = [&](bool isRunning) { logSlowWait(limit.count(), isRunning, describe); };
  switch (ticket->wait(limit, onSlow)) {
    case WaitTicket::State::kRefused: throw MainThreadClosedException();
    case WaitTicket::State::kCanceled: throw WaitCanceledException();
    default: ticket->rethrowFailure();
  }
}

void MainThread::setSlowWaitLimit(std::chrono::milliseconds limit) noexcept {
  using Limits = std::numeric_limits<std::int32_t>;
  slowWaitMilliseconds.store(static_cast<std::int32_t>(std::clamp<std::chrono::milliseconds::rep>(
                                 limit.count(), 0, Limits::max())),
                             std::memory_order_relaxed);
}

void MainThread::setInstance(std::shared_ptr<MainThread> mainThread) {
  // Never destroyed: a receiving thread may still deliver while static objects are destroyed.
  struct Kept {
    std::mutex mutex;
    std::vector<std::shared_ptr<MainThread>> instances;
  };
  static Kept& kept = *new Kept;
  const std::lock_guard lock(kept.mutex);
  MainThread* const next = mainThread.get();
  if (mainThread) kept.instances.push_back(std::move(mainThread));
  current_.store(next, std::memory_order_release);
}

MainThread& MainThread::standard() noexcept {
  MainThread& queue = MainThreadQueue::standard();
  MainThread* none = nullptr;
  current_.compare_exchange_strong(none, &queue, std::memory_order_release,
                                   std::memory_order_relaxed);  // the next call finds it there
  return queue;
}

}  // namespace varno
