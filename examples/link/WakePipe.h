#pragma once

#include "Descriptor.h"

namespace varno::example {

// A pipe to oneself, by which any thread ends another thread's poll().
class WakePipe {
 public:
  WakePipe();

  // Makes descriptor() readable. Also for signal handlers.
  void wake() const noexcept;

  // Takes the wake-ups that came so far. On the thread that polls.
  void drain() const noexcept;

  int descriptor() const { return ends_.first.number(); }

 private:
  const std::pair<Descriptor, Descriptor> ends_;  // to read, to write
};

}  // namespace varno::example
