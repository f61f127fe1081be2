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

  // Has the task run on the main thread, later. Called on any thread. A loop that will not run a
  // task destroys it, at once or when the loop ends: that is how those who wait for it learn of it.
  virtual void post(Task task) = 0;

  // Runs the task on the main thread and returns when it has run; on the main thread itself it is
  // called directly. What the task throws leaves this call, not the main thread's loop. `describe`
  // names the task in the log when the wait is slow; it is called on this thread, while it waits.
  // Throws
  //   MainThreadClosedException  the task was destroyed without having run
  //   WaitCanceledException      the waits of this thread were canceled (see WaitCancellation)
  // and what post() throws. After any of these the task will not run.
  void runAndWait(const Task& task, const std::function<std::string()>& describe = {});

  // How long a wait may take before one line in the log tells of it: five seconds at first. Zero or
  // less switches it off. Holds for the waits of every thread that begin later.
  static void setSlowWaitLimit(std::chrono::milliseconds limit) noexcept;

  // The process's instance. The reference stays valid until the process ends.
  static MainThread& instance() noexcept {
    MainThread* const current = current_.load(std::memory_order_acquire);
    return current != nullptr ? *current : standard();
  }

  // Replaces the instance for the calls that begin later; null restores the standard queue. The
  // instance is kept until the process ends, since another thread may just have taken it. So a
  // plug-in whose class it is stays loaded.
  static void setInstance(std::shared_ptr<MainThread> mainThread);

 protected:
  MainThread() = default;
  MainThread(const MainThread&) = default;
  MainThread& operator=(const MainThread&) = default;

 private:
  static MainThread& standard() noexcept;

  static std::atomic<MainThread*> current_;  // null: the standard queue
};

// A main thread as a queue of tasks that it runs when it is told to: with run() as its loop, or
// with runPending() from a loop of another kind.
//
// Tasks run one by one in the order in which they were posted. A task may post others, wait for
// others (they are then called directly), call runPending() and quit the queue. What a posted task
// throws leaves run() or runPending(): the task counts as run, those behind it stay, and the call
// may be made again. (What a task of runAndWait throws goes to the thread that waits.)
class VARNO_EXPORT MainThreadQueue : public MainThread {
 public:
  // The queue of the thread that constructs it.
  MainThreadQueue() noexcept;

  // Ends as quit() does. No thread may come later; those that wait may still be leaving.
  ~MainThreadQueue() override;

  // The queue that serves as MainThread::instance() from the start. It belongs to the thread that
  // started the program (more exactly: that loaded this library).
  static MainThreadQueue& standard() noexcept;

  // Declares the calling thread the main thread. Before the first frame is handled. When that
  // thread ends, no thread is the main thread until another one calls this.
  void bindToCurrentThread() noexcept;

  bool isCurrent() const override;

  // Destroys the task at once when the queue has been closed. An empty task is ignored.
  void post(Task task) override;

  // On the main thread: runs tasks as they come until quit() is called.
  // Elsewhere: throws InternalInconsistencyException.
  void run();

  // On the main thread: runs the tasks that wait at the moment and returns their number. Those that
  // come meanwhile are left for the next call, so that other things have their turn.
  // Elsewhere: throws InternalInconsistencyException.
  std::size_t runPending();

  // On any thread: closes the queue for good. run() returns when the task that is running has; the
  // tasks that wait are destroyed here, so that whoever waits for one, or comes later, gets
  // MainThreadClosedException. So a program that shuts down calls this first and joins its
  // receiving threads after it. The wake-up is not called.
  void quit();

  // Sets what is called to have another event loop call runPending(). The rule: after each call of
  // the wake-up, call runPending() once, later, on the main thread (a wake-up that sets a flag or
  // writes to a descriptor does; reset it before runPending()). Then no task is left waiting. It is
  // called
  //   by post(), when it finds the queue empty, on the thread that posts;
  //   by runPending(), when it leaves with tasks that wait: they came meanwhile, or one threw;
  //   by this function, when tasks wait already,
  // with no lock held, and now and then without need: runPending() then returns 0. What it throws
  // is dropped. The one before may still be running on another thread when this returns.
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
