#pragma once

#include <VarnoNetwork/Export.h>

#include <atomic>
#include <memory>

namespace varno {

// Lets the owner of a thread call off what that thread waits for, without closing the main thread
// for others. The thread says so with a Scope:
//
//   void Link::receive() {
//     const varno::WaitCancellation::Scope scope(cancellation_);
//     for (;;) network_.handleRawPacket(readFrame());  // ends with WaitCanceledException
//   }
//   void Link::stop() {  // on any thread, the main thread included
//     cancellation_.cancel();
//     thread_.join();
//   }
class VARNO_EXPORT WaitCancellation {
 public:
  WaitCancellation();
  ~WaitCancellation();
  WaitCancellation(const WaitCancellation&) = delete;
  WaitCancellation& operator=(const WaitCancellation&) = delete;

  // For good: the waits for the main thread inside a Scope, now and later, end with
  // WaitCanceledException, and what they wait for is not run. A wait whose task is running already
  // goes on until the task has returned. On any thread; waits for nothing.
  void cancel() noexcept;

  bool isCanceled() const noexcept;

  // While it lives, the calling thread's waits can be canceled. Several threads may share a
  // cancellation, and a thread may have several: each cancels its waits. It may outlive the
  // WaitCancellation; it is destroyed on the thread that made it.
  class VARNO_EXPORT Scope {
   public:
    explicit Scope(const WaitCancellation& cancellation);
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    struct VARNO_INTERNAL Entry;
    friend class CancelableWait;
    friend class WaitCancellation;

    const std::unique_ptr<Entry> entry_;
  };

 private:
  const std::shared_ptr<std::atomic<bool>> isCanceled_;  // shared with the scopes
};

}  // namespace varno
