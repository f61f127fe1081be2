#include <VarnoDisplay/DisplayDesk.h>
#include <VarnoNetwork/Network/MainThread.h>
#include <VarnoNetwork/Network/MainThreadDelivery.h>
#include <VarnoTraffic/FrameCutter.h>

#include <algorithm>
#include <deque>
#include <utility>

namespace varno {

struct DisplayDesk::State {
  State(DisplayOptions options, LinkTime begin)
      : clock(begin), display(clock, std::move(options)) {}

  DisplayHandlers wired(DisplayHandlers handlers);
  void goDown(HangUp how);

  // Whether there was something to do.
  bool passToDisplay();
  bool passToPhone();
  static bool runQueue();

  ManualClock clock;
  SimulatedDisplay display;
  bool isUp = false;
  const HudNetwork* network = nullptr;           // of the last connection; null before the first
  std::shared_ptr<MainThreadDelivery> delivery;  // to it
  std::deque<std::vector<std::uint8_t>> toDisplay;
  std::deque<std::vector<std::uint8_t>> toPhone;  // frames
  FrameCutter cutter;
  std::uint64_t refused = 0;
};

// A handler may be null.
DisplayHandlers DisplayDesk::State::wired(DisplayHandlers handlers) {
  const auto send = [this](std::span<const std::uint8_t> bytes) {
    cutter.feed(bytes, [this](const FrameCutter::Piece& piece) {
      if (piece.kind != RecordKind::kFrame) return;
      toPhone.emplace_back(piece.bytes.begin(), piece.bytes.end());
    });
  };
  handlers.onOutput = [send, told = std::move(handlers.onOutput)](auto bytes) {
    send(bytes);
    if (told) told(bytes);
  };
  handlers.onHangUp = [this, told = std::move(handlers.onHangUp)](HangUp how) {
    goDown(how);
    if (told) told(how);
  };
  return handlers;
}

void DisplayDesk::State::goDown(HangUp how) {
  isUp = false;
  toDisplay.clear();
  if (how == HangUp::kReset) toPhone.clear();
}

bool DisplayDesk::State::passToDisplay() {
  if (toDisplay.empty()) return false;
  const std::vector<std::uint8_t> bytes = std::move(toDisplay.front());
  toDisplay.pop_front();
  display.receive(bytes);
  return true;
}

bool DisplayDesk::State::passToPhone() {
  if (toPhone.empty()) return false;
  const std::vector<std::uint8_t> frame = std::move(toPhone.front());
  toPhone.pop_front();
  const std::shared_ptr<MainThreadDelivery> kept = delivery;  // a listener may take the link down
  if (!kept->handle(frame)) ++refused;
  return true;
}

bool DisplayDesk::State::runQueue() {
  auto* const queue = dynamic_cast<MainThreadQueue*>(&MainThread::instance());
  return queue != nullptr && queue->isCurrent() && queue->runPending() > 0;
}

DisplayDesk::DisplayDesk(DisplayOptions options, LinkTime begin)
    : state_(std::make_unique<State>(std::move(options), begin)) {
  setHandlers({});
}

DisplayDesk::~DisplayDesk() = default;

void DisplayDesk::setHandlers(DisplayHandlers handlers) {
  state_->display.setHandlers(state_->wired(std::move(handlers)));
}

void DisplayDesk::connect(const HudNetwork& network) {
  disconnect();
  state_->toPhone.clear();
  state_->cutter.finish();
  state_->network = &network;
  state_->delivery = std::make_shared<MainThreadDelivery>(network);
  state_->isUp = true;
  state_->display.linkUp();
}

void DisplayDesk::disconnect() {
  while (state_->passToDisplay()) {
  }
  state_->toPhone.clear();
  state_->isUp = false;
  state_->display.linkDown("the phone hung up");
}

void DisplayDesk::disconnect(const HudNetwork& network) {
  if (state_->network == &network) disconnect();
}

bool DisplayDesk::isUp() const { return state_->isUp; }

bool DisplayDesk::take(std::span<const std::uint8_t> bytes) {
  if (!state_->isUp) return false;
  state_->toDisplay.emplace_back(bytes.begin(), bytes.end());
  return true;
}

void DisplayDesk::pump() {
  State& state = *state_;
  state.display.advance();
  while (state.passToDisplay() || state.passToPhone() || State::runQueue()) {
  }
}

void DisplayDesk::pass(std::chrono::nanoseconds duration) {
  passUntil([] { return false; }, duration);
}

bool DisplayDesk::passUntil(const std::function<bool()>& condition,
                            std::chrono::nanoseconds limit) {
  State& state = *state_;
  const LinkTime begin = state.clock.now();
  const LinkTime end = limit < LinkTime::max() - begin ? begin + limit : LinkTime::max();
  for (;;) {
    pump();
    if (condition()) return true;
    const LinkTime now = state.clock.now();
    if (now >= end) return false;
    // Time goes on in any case, so that this ends.
    constexpr std::chrono::milliseconds kLeast{1};
    const LinkTime due = std::max(state.display.nextDue().value_or(end), now + kLeast);
    state.clock.advanceTo(std::min(due, end));
  }
}

SimulatedDisplay& DisplayDesk::display() { return state_->display; }
ManualClock& DisplayDesk::clock() { return state_->clock; }
std::uint64_t DisplayDesk::refusedFrames() const { return state_->refused; }

// Another one may have taken its place.
DeskNetwork::~DeskNetwork() { desk_.disconnect(*this); }

}  // namespace varno
