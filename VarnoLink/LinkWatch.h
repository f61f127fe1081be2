#pragma once

#include <VarnoLink/LinkLoop.h>

#include <functional>
#include <memory>

namespace varno {

// Takes SIGINT, SIGTERM and, unless the process ignores it as under nohup, SIGHUP for itself while
// it lives: instead of ending the process, each calls the handler with its number, inside the
// loop's run(). On the loop's thread.
class VARNO_EXPORT SignalWatch {
 public:
  // Throws std::system_error and std::bad_alloc.
  SignalWatch(LinkLoop& loop, std::function<void(int signal)> onSignal);

  ~SignalWatch();

  SignalWatch(const SignalWatch&) = delete;
  SignalWatch& operator=(const SignalWatch&) = delete;

 private:
  struct State;
  const std::shared_ptr<State> state_;
};

// Calls a handler again and again while a descriptor can be read without waiting, as it also can at
// its end: standard input, for example. On the loop's thread.
class VARNO_EXPORT ReadableWatch {
 public:
  // descriptor: not owned; outlives the watch. A file is always readable. Throws std::system_error
  // and std::bad_alloc.
  ReadableWatch(LinkLoop& loop, int descriptor, std::function<void()> onReadable);

  ~ReadableWatch();

  ReadableWatch(const ReadableWatch&) = delete;
  ReadableWatch& operator=(const ReadableWatch&) = delete;

 private:
  struct State;
  const std::shared_ptr<State> state_;
};

}  // namespace varno
