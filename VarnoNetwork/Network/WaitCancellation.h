#pragma once

#include <VarnoNetwork/Export.h>

#include <atomic>
#include <memory>

namespace varno {

// Cancels what one thread waits for, without closing the main thread for others. The waiting thread
// allows it with a Scope:
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

  // Permanent: all waits for the main thread inside a Scope, present and later ones, end with
  // WaitCanceledException, and their tasks do not run. A wait whose task is already running ends
  // when the task has returned. May be called on any thread; does not wait itself.
  void cancel() noexcept;

  bool isCanceled() const noexcept;

  // While it lives, the waits of the thread that made it can be canceled. Several threads may share
  // a cancellation, and a thread may have several; each of them cancels its waits. A Scope may
  // outlive the WaitCancellation. It must be destroyed on the thread that made it.
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
