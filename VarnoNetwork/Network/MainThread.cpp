#include <VarnoNetwork/Network/HudException.h>
#include <VarnoNetwork/Network/MainThread.h>

#include <exception>
#include <utility>
#include <vector>

namespace varno {
namespace {

struct Instances {
  std::atomic<MainThread*> current = &MainThreadQueue::standard();
  std::mutex mutex;
  std::vector<std::shared_ptr<MainThread>> kept;  // every instance that was ever set
};

// Never destroyed: a receiving thread may still deliver while the program's static objects go.
Instances& instances() {
  static Instances& instances = *new Instances;
  return instances;
}

// Constructs the standard queue while the program starts, on the thread that starts it.
[[maybe_unused]] const MainThreadQueue& kStandardQueue = MainThreadQueue::standard();

}  // namespace

MainThread::~MainThread() = default;

void MainThread::runAndWait(const std::function<void()>& task) {
  if (isCurrent()) {
    task();
    return;
  }
  bool hasRun = false;
  std::exception_ptr failure;
  const auto guardedTask = [&] {
    hasRun = true;
    try {
      task();
    } catch (...) {
      failure = std::current_exception();
    }
  };
  submitAndWait(std::ref(guardedTask));
  if (!hasRun) throw MainThreadClosedException();
  if (failure) std::rethrow_exception(std::move(failure));
}

MainThread& MainThread::instance() noexcept { return *instances().current.load(); }

void MainThread::setInstance(std::shared_ptr<MainThread> mainThread) {
  Instances& all = instances();
  const std::lock_guard lock(all.mutex);
  MainThread* next = mainThread ? mainThread.get() : &MainThreadQueue::standard();
  if (mainThread) all.kept.push_back(std::move(mainThread));
  all.current = next;
}

// A task on its way. Its state is guarded by the queue's mutex.
struct MainThreadQueue::Waiter {
  enum class State { kQueued, kRunning, kDone, kRefused };

  const std::function<void()>& task;
  State state = State::kQueued;
  std::condition_variable finished = {};
};

MainThreadQueue::MainThreadQueue() : thread_(std::this_thread::get_id()) {}

MainThreadQueue::~MainThreadQueue() {
  quit();
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return waiters_ == 0; });
}

MainThreadQueue& MainThreadQueue::standard() {
  // Never destroyed, for the same reason as the instances.
  static MainThreadQueue& queue = *new MainThreadQueue;
  return queue;
}

void MainThreadQueue::bindToCurrentThread() { thread_ = std::this_thread::get_id(); }

bool MainThreadQueue::isCurrent() const { return thread_ == std::this_thread::get_id(); }

void MainThreadQueue::run() {
  requireMainThread();
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return isClosed_ || !queue_.empty(); });
    if (!runNext(lock)) return;
  }
}

std::size_t MainThreadQueue::runPending() {
  requireMainThread();
  std::unique_lock lock(mutex_);
  // Only those that wait now: a stream of new tasks must not keep the caller's own loop waiting.
  const std::size_t pending = queue_.size();
  std::size_t ran = 0;
  while (ran < pending && runNext(lock)) ++ran;
  return ran;
}

void MainThreadQueue::quit() {
  const std::lock_guard lock(mutex_);
  isClosed_ = true;
  for (Waiter* waiter : queue_) {
    waiter->state = Waiter::State::kRefused;
    waiter->finished.notify_one();
  }
  queue_.clear();
  changed_.notify_all();
}

void MainThreadQueue::setWakeUp(std::function<void()> wakeUp) {
  std::shared_ptr<const std::function<void()>> replacement;
  if (wakeUp) replacement = std::make_shared<const std::function<void()>>(std::move(wakeUp));
  const std::lock_guard lock(mutex_);
  wakeUp_.swap(replacement);
}

void MainThreadQueue::submitAndWait(const std::function<void()>& task) {
  Waiter waiter{task};
  std::unique_lock lock(mutex_);
  if (isClosed_) return;
  queue_.push_back(&waiter);
  ++waiters_;
  changed_.notify_all();
  if (const auto wakeUp = wakeUp_) {
    lock.unlock();
    try {
      (*wakeUp)();
    } catch (...) {
      // The task is queued already, so this thread must wait for it whatever the callback did.
    }
    lock.lock();
  }
  waiter.finished.wait(lock, [&waiter] {
    return waiter.state == Waiter::State::kDone || waiter.state == Waiter::State::kRefused;
  });
  // Only the destructor, which closes the queue first, waits for this.
  if (--waiters_ == 0 && isClosed_) changed_.notify_all();
}

void MainThreadQueue::requireMainThread() const {
  if (!isCurrent()) {
    throw InternalInconsistencyException("The main thread's queue was run on another thread");
  }
}

// Runs the task at the front, unlocked meanwhile; false where there is none.
bool MainThreadQueue::runNext(std::unique_lock<std::mutex>& lock) {
  if (queue_.empty()) return false;
  Waiter& waiter = *queue_.front();
  queue_.pop_front();
  waiter.state = Waiter::State::kRunning;
  lock.unlock();
  waiter.task();
  lock.lock();
  waiter.state = Waiter::State::kDone;
  waiter.finished.notify_one();
  return true;
}

}  // namespace varno
