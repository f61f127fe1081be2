#include <VarnoNetwork/Network/HudException.h>
#include <VarnoNetwork/Network/MainThread.h>

#include <new>
#include <utility>

namespace varno {
namespace {

// The serial number of a thread that has been a main thread; 0 for others. Unlike a thread id it is
// never reused.
constinit thread_local std::size_t serialOfThisThread = 0;
constinit std::atomic<std::size_t> lastSerial = 0;

void call(const std::shared_ptr<const std::function<void()>>& wakeUp) noexcept {
  if (!wakeUp) return;
  try {
    (*wakeUp)();
  } catch (...) {
    // The tasks are queued already, whatever the callback did.
  }
}

// Constructs the standard queue while the program starts, on the thread that starts it.
[[maybe_unused]] const MainThreadQueue& kStandardQueue = MainThreadQueue::standard();

}  // namespace

MainThreadQueue::MainThreadQueue() noexcept { bindToCurrentThread(); }

MainThreadQueue::~MainThreadQueue() { quit(); }

MainThreadQueue& MainThreadQueue::standard() noexcept {
  // Needs no memory from the heap, and is never destroyed: a receiving thread may still deliver
  // while static objects are destroyed.
  alignas(MainThreadQueue) static std::byte storage[sizeof(MainThreadQueue)];
  static MainThreadQueue& queue = *new (storage) MainThreadQueue;
  return queue;
}

void MainThreadQueue::bindToCurrentThread() noexcept {
  if (serialOfThisThread == 0) serialOfThisThread = ++lastSerial;
  serial_.store(serialOfThisThread, std::memory_order_relaxed);
  thread_.store(std::this_thread::get_id(), std::memory_order_relaxed);
}

bool MainThreadQueue::isCurrent() const {
  // The id is compared first: in a library that is loaded late, a thread's first use of a
  // thread_local allocates, and ends the process if that fails. Only the main thread gets to the
  // second comparison. Relaxed order is enough: only the thread that stored these values can find
  // them equal.
  return thread_.load(std::memory_order_relaxed) == std::this_thread::get_id() &&
         serial_.load(std::memory_order_relaxed) == serialOfThisThread;
}

void MainThreadQueue::post(Task task) {
  if (!task) return;
  // Allocated before the lock is taken. If the task is refused, it is destroyed after the lock was
  // released: what the task holds may use the queue.
  std::list<Task> posted;
  posted.push_back(std::move(task));
  std::shared_ptr<const std::function<void()>> wakeUp;
  {
    const std::lock_guard lock(mutex_);
    if (isClosed_) return;
    if (queue_.empty()) {
      wakeUp = wakeUp_;
      changed_.notify_all();  // with the lock held: the queue may be destroyed after it
    }
    queue_.splice(queue_.end(), posted);
  }
  call(wakeUp);
}

void MainThreadQueue::run() {
  requireMainThread();
  for (;;) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return isClosed_ || !queue_.empty(); });
    if (!runNext(std::move(lock))) return;
  }
}

std::size_t MainThreadQueue::runPending() {
  requireMainThread();
  const struct Rest {
    MainThreadQueue& queue;
    ~Rest() { queue.wakeUpIfTasksWait(); }
  } wakeUpForTheRest{*this};
  std::unique_lock lock(mutex_);
  const std::size_t pending = queue_.size();
  lock.unlock();
  std::size_t ran = 0;
  while (ran < pending && runNext(std::unique_lock(mutex_))) ++ran;
  return ran;
}

void MainThreadQueue::quit() {
  std::list<Task> refused;  // destroyed after the lock was released, as in post()
  const std::lock_guard lock(mutex_);
  isClosed_ = true;
  refused.swap(queue_);
  changed_.notify_all();
}

void MainThreadQueue::setWakeUp(std::function<void()> wakeUp) {
  std::shared_ptr<const std::function<void()>> replacement;
  if (wakeUp) replacement = std::make_shared<const std::function<void()>>(std::move(wakeUp));
  {
    const std::lock_guard lock(mutex_);
    wakeUp_.swap(replacement);
  }
  wakeUpIfTasksWait();
}

void MainThreadQueue::requireMainThread() const {
  if (!isCurrent()) {
    throw InternalInconsistencyException("The main thread's queue was run on another thread");
  }
}

// Runs the task at the front with the lock released; false if there is none.
bool MainThreadQueue::runNext(std::unique_lock<std::mutex> lock) {
  if (queue_.empty()) return false;
  std::list<Task> next;
  next.splice(next.end(), queue_, queue_.begin());
  lock.unlock();
  next.front()();
  return true;
}

void MainThreadQueue::wakeUpIfTasksWait() noexcept {
  std::shared_ptr<const std::function<void()>> wakeUp;
  {
    const std::lock_guard lock(mutex_);
    if (!queue_.empty()) wakeUp = wakeUp_;
  }
  call(wakeUp);
}

}  // namespace varno
