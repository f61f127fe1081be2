#pragma once

#include <csignal>

namespace varno {

// Keeps SIGPIPE from this thread, so that a write to a closed pipe or socket fails with EPIPE and
// nothing else. Unlike ignoring the signal, this leaves the rest of the process alone.
class BrokenPipeGuard {
 public:
  BrokenPipeGuard() {
    sigset_t pending;
    ::sigpending(&pending);
    wasPending_ = ::sigismember(&pending, SIGPIPE) == 1;
    ::sigemptyset(&brokenPipe_);
    ::sigaddset(&brokenPipe_, SIGPIPE);
    ::pthread_sigmask(SIG_BLOCK, &brokenPipe_, &before_);
  }

  ~BrokenPipeGuard() {
    sigset_t pending;
    ::sigpending(&pending);
    int taken = 0;
    // Taken off before the mask is restored, which would deliver it.
    if (!wasPending_ && ::sigismember(&pending, SIGPIPE) == 1) ::sigwait(&brokenPipe_, &taken);
    ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }

  BrokenPipeGuard(const BrokenPipeGuard&) = delete;
  BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;

 private:
  bool wasPending_ = false;
  sigset_t brokenPipe_;
  sigset_t before_;
};

}  // namespace varno
