#pragma once

#include <VarnoLink/Clock.h>
#include <VarnoNetwork/Export.h>

#include <functional>
#include <memory>

namespace varno {

class LoopCore;

// An event loop: links, timers and watches act inside the run() of theirs, on one thread.
//
// What belongs to a loop (Link, LinkTimer, SignalWatch, ReadableWatch) is made, used and destroyed
// on the thread that is in run(), or by any one thread while none is; and before the loop is
// destroyed. Their handlers are called inside run() alone, never inside a call of theirs, and may
// do anything with them: set them anew, close them, destroy them.
class VARNO_EXPORT LinkLoop {
 public:
  using Task = std::function<void()>;

  // Throws std::system_error where the system has no descriptors left, and std::bad_alloc.
  LinkLoop();

  // Waits for nothing. Tasks that did not run are destroyed.
  ~LinkLoop();

  LinkLoop(const LinkLoop&) = delete;
  LinkLoop& operator=(const LinkLoop&) = delete;

  // Runs until stop(). What a task or handler throws leaves run(), which may then be called again:
  // the others wait for that. (A link's handler that runs out of memory is an exception to this: it
  // costs the connection.) One thread at a time; not inside itself.
  void run();

  // Ends run() once the task or handler that runs has returned; where nobody is in run(), its next
  // call returns at once. On any thread, also in a handler.
  void stop() noexcept;

  // Has run() call the task later, in the order of the calls. On any thread. Throws std::bad_alloc.
  void post(Task task);

  // Whether the calling thread is in run().
  bool isCurrent() const noexcept;

  // The system's clock. On any thread.
  const Clock& clock() const noexcept;

 private:
  friend class Link;
  friend class LinkTimer;
  friend class ReadableWatch;
  friend class SignalWatch;

  const std::unique_ptr<LoopCore> core_;
};

}  // namespace varno
