#include <VarnoDisplay/InProcessScenario.h>

#include <VarnoTraffic/FrameCutter.h>

#include <deque>
#include <utility>
#include <vector>

namespace varno {

struct InProcessScenario::State {
  State(const Scenario& scenario, ManualClock& itsClock, const ScenarioOptions& options)
      : clock(itsClock),
        peer(scenario, clock,
             {.onOutput =
                  [this](std::span<const std::uint8_t> bytes) {
                    // Given below, behind what the peer does: the application may answer at once.
                    toApplication.insert(toApplication.end(), bytes.begin(), bytes.end());
                  },
              .onHangUp = [this](HangUp) { changes.push_back(false); },
              .onOpen =
                  [this] {
                    const bool willBeUp = changes.empty() ? isUp : changes.back();
                    if (!willBeUp) changes.push_back(true);
                  },
              .onRecord =
                  [this](const TrafficRecord& record) {
                    if (onRecord) onRecord(record);
                  }},
             options) {}

  bool passOn();
  void run();

  ManualClock& clock;
  ScenarioApplication application;
  std::function<void(const TrafficRecord& record)> onRecord;
  bool isUp = false;
  std::deque<bool> changes{true};  // of isUp, that the application is not told yet
  std::vector<std::uint8_t> toApplication;
  FrameCutter cutter;
  ScenarioPeer peer;
};

// Tells the application what happened. False where nothing did.
bool InProcessScenario::State::passOn() {
  bool hasPassed = false;
  if (!toApplication.empty()) {
    hasPassed = true;
    const std::vector<std::uint8_t> bytes = std::exchange(toApplication, {});
    cutter.feed(bytes, [this](const FrameCutter::Piece& piece) {
      if (piece.kind == RecordKind::kFrame && application.onFrame) {
        application.onFrame(piece.bytes);
      }
    });
  }
  if (changes.empty()) return hasPassed;
  isUp = changes.front();
  changes.pop_front();
  if (isUp) {
    peer.linkUp();
    if (application.onLinkUp) application.onLinkUp();
  } else {
    static_cast<void>(cutter.finish());
    if (application.onLinkDown) application.onLinkDown();
  }
  return true;
}

void InProcessScenario::State::run() {
  peer.start();
  while (!peer.isFinished() || !toApplication.empty()) {
    const bool hasPassed = passOn();
    if (application.advance) application.advance();
    peer.advance();
    if (hasPassed || !toApplication.empty() || !changes.empty()) continue;
    std::optional<LinkTime> next = peer.nextDue();
    if (application.nextDue) {
      const auto due = application.nextDue();
      if (due && *due > clock.now() && (!next || *due < *next)) next = due;
    }
    if (next) clock.advanceTo(*next);
  }
}

InProcessScenario::InProcessScenario(const Scenario& scenario, ManualClock& clock,
                                     const ScenarioOptions& options)
    : state_(std::make_unique<State>(scenario, clock, options)) {}

InProcessScenario::~InProcessScenario() = default;

void InProcessScenario::setApplication(ScenarioApplication application) {
  state_->application = std::move(application);
}

void InProcessScenario::setOnRecord(std::function<void(const TrafficRecord&)> onRecord) {
  state_->onRecord = std::move(onRecord);
}

bool InProcessScenario::receive(std::span<const std::uint8_t> bytes) {
  if (!state_->isUp || !state_->changes.empty()) return false;
  state_->peer.receive(bytes);
  return true;
}

void InProcessScenario::hangUp() {
  if (!state_->isUp || !state_->changes.empty()) return;
  state_->changes.push_back(false);
  state_->peer.linkDown("the application hung up");
}

const ScenarioResult& InProcessScenario::run() {
  state_->run();
  return result();
}

const ScenarioResult& InProcessScenario::result() const { return state_->peer.result(); }

}  // namespace varno
