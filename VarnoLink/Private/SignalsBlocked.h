#pragma once

#include <pthread.h>

#include <csignal>

namespace varno {

// While it lives, a thread that is started takes no signal: the application's are for its own
// threads. Those that a fault of the thread itself raises are left to whoever reports crashes.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t blocked;
    ::sigfillset(&blocked);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS}) {
      ::sigdelset(&blocked, fault);
    }
    ::pthread_sigmask(SIG_BLOCK, &blocked, &before_);
  }
  ~SignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t before_;
};

}  // namespace varno
