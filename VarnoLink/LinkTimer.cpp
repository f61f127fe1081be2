#include <VarnoLink/LinkTimer.h>

#include <VarnoLink/Private/LoopCore.h>

#include <algorithm>
#include <cstdint>
#include <utility>

namespace varno {

struct LinkTimer::State {
  explicit State(LoopCore& core) : clock(core.clock()), timer(core.context()) {}

  const Clock& clock;
  LoopTimer timer;
  LinkLoop::Task task;
  std::uint64_t serial = 0;  // of what was set: its call may wait already when it is canceled
};

LinkTimer::LinkTimer(LinkLoop& loop) : state_(std::make_shared<State>(*loop.core_)) {}

LinkTimer::~LinkTimer() { cancel(); }

void LinkTimer::at(LinkTime time, LinkLoop::Task task) {
  // The clock does not go back, so the difference of what lies ahead does not overflow.
  const LinkTime now = state_->clock.now();
  after(time > now ? time - now : std::chrono::nanoseconds(0), std::move(task));
}

void LinkTimer::after(std::chrono::nanoseconds duration, LinkLoop::Task task) {
  cancel();
  const std::uint64_t serial = state_->serial;
  state_->timer.expires_after(std::max(duration, std::chrono::nanoseconds(0)));
  state_->timer.async_wait([state = state_, serial](const asio::error_code& error) {
    if (error || state->serial != serial) return;
    ++state->serial;
    std::exchange(state->task, nullptr)();
  });
  state_->task = std::move(task);
}

void LinkTimer::cancel() noexcept {
  ++state_->serial;
  try {
    state_->timer.cancel();
  } catch (...) {
    // Its callback, should it come, has no effect: the serial is another one.
  }
  const LinkLoop::Task canceled = std::exchange(state_->task, nullptr);
}

bool LinkTimer::isSet() const noexcept { return state_->task != nullptr; }

}  // namespace varno
