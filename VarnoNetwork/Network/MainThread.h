#pragma once

#include <VarnoNetwork/Export.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace varno {

// The application's main thread, on which every listener is called. One instance serves the whole
// process: the standard MainThreadQueue, or what an application with an event loop of its own
// derives from this class and sets.
class VARNO_EXPORT MainThread {
 public:
  virtual ~MainThread();

  // Whether the calling thread is the main thread.
  virtual bool isCurrent() const = 0;

  // Runs the task on the main thread and returns when it has run; on the main thread itself it is
  // called directly. What the task throws leaves this call, not the main thread's loop. Throws
  // MainThreadClosedException where the task can no longer run.
  void runAndWait(const std::function<void()>& task);

  // The process's instance. The pointer stays valid until the process ends.
  static MainThread& instance() noexcept;

  // Replaces the instance for the calls that begin later; null restores the standard queue. The
  // instance is kept until the process ends, since another thread may just have taken it.
  static void setInstance(std::shared_ptr<MainThread> mainThread);

 protected:
  MainThread() = default;
  MainThread(const MainThread&) = default;
  MainThread& operator=(const MainThread&) = default;

  // Has the task run on the main thread and returns when it has, or when it is certain that it
  // never will. Called on other threads only. The task throws nothing, and need not outlive the
  // call.
  virtual void submitAndWait(const std::function<void()>& task) = 0;
};

// A main thread as a queue of tasks that it runs when it is told to: with run() as its loop, or
// with runPending() from a loop of another kind.
class VARNO_EXPORT MainThreadQueue : public MainThread {
 public:
  // The queue of the thread that constructs it.
  MainThreadQueue();

  // Ends as quit() does, and waits until those who waited have left.
  ~MainThreadQueue() override;

  // The queue that serves as MainThread::instance() from the start. It belongs to the thread that
  // started the program (more exactly: that loaded this library).
  static MainThreadQueue& standard();

  // Declares the calling thread the main thread. Before the first frame is handled.
  void bindToCurrentThread();

  bool isCurrent() const override;

  // On the main thread: runs tasks as they come until quit() is called.
  // Elsewhere: throws InternalInconsistencyException.
  void run();

  // On the main thread: runs the tasks that wait at the moment and returns their number.
  // Elsewhere: throws InternalInconsistencyException.
  std::size_t runPending();

  // On any thread: closes the queue for good. run() returns; whoever waits for a task that has not
  // begun, or comes later, gets MainThreadClosedException. So a program that shuts down calls this
  // first and joins its receiving threads after it.
  void quit();

  // Sets what is called when a task has come, to wake another event loop that then calls
  // runPending(). It runs on the thread that submits, with no lock held; what it throws is dropped.
  // The one before may still run for a task that came earlier.
  void setWakeUp(std::function<void()> wakeUp);

 protected:
  void submitAndWait(const std::function<void()>& task) override;

 private:
  struct Waiter;

  void requireMainThread() const;
  bool runNext(std::unique_lock<std::mutex>& lock);

  std::atomic<std::thread::id> thread_;
  std::mutex mutex_;           // guards what follows
  std::deque<Waiter*> queue_;  // each waiter lies on the stack of its thread
  std::size_t waiters_ = 0;    // those inside submitAndWait
  bool isClosed_ = false;
  std::condition_variable changed_;  // a task came, the queue was closed, or its last waiter left
  std::shared_ptr<const std::function<void()>> wakeUp_;
};

}  // namespace varno
