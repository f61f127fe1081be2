#include <VarnoLink/LinkWatch.h>

#include <VarnoLink/Private/LoopCore.h>

#include <asio/post.hpp>
#include <asio/signal_set.hpp>

#include <csignal>
#include <utility>

namespace varno {

struct SignalWatch::State : std::enable_shared_from_this<State> {
  State(LoopCore& core, std::function<void(int)> handler)
      : signals(core.context(), SIGINT, SIGTERM), onSignal(std::move(handler)) {
    struct sigaction present {};
    if (::sigaction(SIGHUP, nullptr, &present) == 0 && present.sa_handler != SIG_IGN) {
      signals.add(SIGHUP);
    }
  }

  void wait() {
    signals.async_wait([self = shared_from_this()](const asio::error_code& error, int signal) {
      if (error || self->isEnded) return;
      self->wait();
      self->onSignal(signal);
    });
  }

  asio::signal_set signals;
  const std::function<void(int)> onSignal;
  bool isEnded = false;
};

SignalWatch::SignalWatch(LinkLoop& loop, std::function<void(int signal)> onSignal)
    : state_(std::make_shared<State>(*loop.core_, std::move(onSignal))) {
  state_->wait();
}

SignalWatch::~SignalWatch() {
  state_->isEnded = true;
  asio::error_code ignored;
  state_->signals.cancel(ignored);  // clearing alone keeps what waits for them
  state_->signals.clear(ignored);
}

struct ReadableWatch::State : std::enable_shared_from_this<State> {
  State(LoopCore& core, int number, std::function<void()> handler)
      : descriptor(core.context(), number), onReadable(std::move(handler)) {}
  ~State() { descriptor.release(); }  // it is not ours to close, also where wait() throws
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  void wait() {
    descriptor.async_wait(asio::posix::descriptor_base::wait_read,
                          [self = shared_from_this()](const asio::error_code& error) {
                            // The system does not watch a file, since it can always be read.
                            if (error && error != asio::error::operation_not_supported) return;
                            if (self->isEnded) return;
                            self->wait();
                            self->onReadable();
                          });
  }

  LoopDescriptor descriptor;
  const std::function<void()> onReadable;
  bool isEnded = false;
};

ReadableWatch::ReadableWatch(LinkLoop& loop, int descriptor, std::function<void()> onReadable)
    : state_(std::make_shared<State>(*loop.core_, descriptor, std::move(onReadable))) {
  state_->wait();
}

ReadableWatch::~ReadableWatch() {
  state_->isEnded = true;
  state_->descriptor.release();
}

}  // namespace varno
