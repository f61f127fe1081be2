#pragma once

#include <VarnoNetwork/Export.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace varno {

// The application's main thread, on which every listener is called. One instance serves the whole
// process: the standard MainThreadQueue, or what an application with an event loop of its own
// derives from this class and sets.
class VARNO_EXPORT MainThread {
 public:
  using Task = std::function<void()>;

  virtual ~MainThread();

  // Whether the calling thread is the main thread. Asked for every packet, so it should be quick.
  virtual bool isCurrent() const = 0;

  // Queues the task to run on the main thread later. Called on any thread. A loop that will never
  // run a task must destroy it, at once or when the loop ends: otherwise whoever waits for the task
  // waits for ever.
  virtual void post(Task task) = 0;

  // Runs the task on the main thread and returns when it has run; on the main thread itself it is
  // called directly. What the task throws leaves this call, not the main thread's loop. `describe`
  // names the task in the log when the wait is slow; it is called on this thread, while it waits.
  // Throws
  //   MainThreadClosedException  the task was destroyed without having run
  //   WaitCanceledException      the waits of this thread were canceled (see WaitCancellation)
  // and what post() throws. After any of these the task will not run.
  void runAndWait(const Task& task, const std::function<std::string()>& describe = {});

  // Sets how long a wait for the main thread may take before one line in the log tells of it; five
  // seconds by default. Zero or less switches the line off. Applies to waits that begin later, on
  // every thread.
  static void setSlowWaitLimit(std::chrono::milliseconds limit) noexcept;

  // The process's instance. The reference stays valid until the process ends.
  static MainThread& instance() noexcept {
    MainThread* const current = current_.load(std::memory_order_acquire);
    return current != nullptr ? *current : standard();
  }

  // Replaces the instance for the calls that begin later; null restores the standard queue. The
  // instance is kept until the process ends, since another thread may still be using it. So a
  // plug-in that defines its class must stay loaded.
  static void setInstance(std::shared_ptr<MainThread> mainThread);

 protected:
  MainThread() = default;
  MainThread(const MainThread&) = default;
  MainThread& operator=(const MainThread&) = default;

 private:
  static MainThread& standard() noexcept;

  static std::atomic<MainThread*> current_;  // null: the standard queue, until it is asked for
};

// A main thread with a queue of tasks, which it runs by run() as its loop, or by runPending() from
// an event loop of another kind.
//
// Tasks run one by one in the order in which they were posted. A task may post others, wait for
// others (they are then called directly), call runPending() and quit the queue. What a posted task
// throws leaves run() or runPending(): the task counts as run, those behind it stay queued, and the
// function may be called again. (What a task of runAndWait throws goes to the thread that waits.)
class VARNO_EXPORT MainThreadQueue : public MainThread {
 public:
  // The queue of the thread that constructs it.
  MainThreadQueue() noexcept;

  // Closes the queue as quit() does. No thread may use the queue afterwards; threads whose waits
  // end by this may still be returning from them.
  ~MainThreadQueue() override;

  // The queue that serves as MainThread::instance() from the start. It belongs to the thread that
  // started the program (more exactly: that loaded this library).
  static MainThreadQueue& standard() noexcept;

  // Makes the calling thread the main thread. To be called before the first frame is handled. When
  // that thread ends, no thread is the main thread until another one calls this.
  void bindToCurrentThread() noexcept;

  bool isCurrent() const override;

  // Destroys the task at once when the queue has been closed. An empty task is ignored.
  void post(Task task) override;

  // On the main thread: runs tasks as they come until quit() is called. On other threads: throws
  // InternalInconsistencyException.
  void run();

  // On the main thread: runs the tasks that are queued at the moment and returns their number.
  // Those that come meanwhile are left for the next call, so that the other event loop gets its
  // turn. On other threads: throws InternalInconsistencyException.
  std::size_t runPending();

  // On any thread: closes the queue for good. run() returns when the running task has ended. The
  // queued tasks are destroyed here, so whoever waits for one, now or later, gets
  // MainThreadClosedException. A program that shuts down therefore calls this first and joins its
  // receiving threads afterwards. The wake-up is not called.
  void quit();

  // Sets the wake-up: the function that tells another event loop to call runPending(). After each
  // wake-up, call runPending() once, later, on the main thread; then no task is left waiting. A
  // wake-up may set a flag or write to a descriptor, which is reset before runPending() is called.
  // It is called
  //   by post(), when it finds the queue empty, on the thread that posts;
  //   by runPending(), when it leaves with tasks that wait: they came meanwhile, or one threw;
  //   by this function, when tasks wait already,
  // with no lock held, and sometimes without need: runPending() then returns 0. What it throws is
  // ignored. The previous wake-up may still be running on another thread when this returns.
  void setWakeUp(std::function<void()> wakeUp);

 private:
  void requireMainThread() const;
  bool runNext(std::unique_lock<std::mutex> lock);
  void wakeUpIfTasksWait() noexcept;

  std::atomic<std::thread::id> thread_;
  std::atomic<std::size_t> serial_ = 0;  // of the thread, whose id a later one may be given
  std::mutex mutex_;                     // guards what follows
  std::list<Task> queue_;
  bool isClosed_ = false;
  std::condition_variable changed_;  // a task came, or the queue was closed
  std::shared_ptr<const std::function<void()>> wakeUp_;
};

}  // namespace varno
