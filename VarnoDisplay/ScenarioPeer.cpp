#include <VarnoDisplay/ScenarioPeer.h>

#include <VarnoDisplay/Private/FlagScope.h>
#include <VarnoTraffic/FrameContent.h>
#include <VarnoTraffic/FrameCutter.h>

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

namespace varno {
struct ScenarioPeer::State : ScenarioWire {
  State(const Scenario& scenario, const Clock& itsClock, ScenarioPeerHandlers itsHandlers,
        const ScenarioOptions& options)
      : clock(itsClock),
        handlers(std::move(itsHandlers)),
        directory(options.directory),
        outward(roleOf(scenario, options) == ScenarioRole::kDisplay ? Direction::kToPhone
                                                                    : Direction::kToDisplay),
        stages{FaultStage(Direction::kToDisplay, seedOf(scenario, options)),
               FaultStage(Direction::kToPhone, seedOf(scenario, options))},
        runner(scenario, clock, *this, options) {}

  static std::size_t indexOf(Direction direction) { return static_cast<std::size_t>(direction); }
  Direction inward() const {
    return outward == Direction::kToPhone ? Direction::kToDisplay : Direction::kToPhone;
  }
  FaultStage& stage(Direction direction) { return stages[indexOf(direction)]; }
  FrameCutter& cutter(Direction direction) { return cutters[indexOf(direction)]; }

  void send(std::span<const std::uint8_t> bytes) override;
  void addFault(Direction direction, const Fault& fault) override { stage(direction).add(fault); }
  void close() override { hangUp(HangUp::kClose, "the scenario closed it"); }
  void reset() override { hangUp(HangUp::kReset, "the scenario reset it"); }
  void open() override;

  void goUp();
  void goDown(std::string_view reason);
  void hangUp(HangUp how, std::string_view reason);
  void give(Direction direction, const FaultStage::Emission& emission);
  void take(std::span<const std::uint8_t> bytes);
  void receive(std::span<const std::uint8_t> bytes);
  void takeWhatCame();
  void advance();
  void record(TrafficRecord record);
  void recordPiece(Direction direction, const FrameCutter::Piece& piece);

  const Clock& clock;
  ScenarioPeerHandlers handlers;
  PacketDirectory directory;
  Direction outward;
  std::array<FaultStage, 2> stages;
  std::array<FrameCutter, 2> cutters;
  bool isUp = false;
  bool isBusy = false;
  std::vector<std::uint8_t> came;  // while it was busy
  std::uint64_t connections = 0;   // how often the link came up or went down
  ScenarioRunner runner;
};

void ScenarioPeer::State::record(TrafficRecord record) {
  record.time = clock.now().time_since_epoch().count();
  runner.addRecord(record);
  if (handlers.onRecord) handlers.onRecord(record);
}

void ScenarioPeer::State::recordPiece(Direction direction, const FrameCutter::Piece& piece) {
  record({.direction = direction,
          .kind = piece.kind,
          .bytes = {piece.bytes.begin(), piece.bytes.end()}});
}

void ScenarioPeer::State::goUp() {
  if (isUp) return;
  ++connections;
  isUp = true;
  for (FaultStage& each : stages) each.restart();
  record({.kind = RecordKind::kLinkUp});
}

void ScenarioPeer::State::goDown(std::string_view reason) {
  if (!isUp) return;
  ++connections;
  isUp = false;
  for (const Direction direction : {Direction::kToDisplay, Direction::kToPhone}) {
    if (const auto rest = cutter(direction).finish()) recordPiece(direction, *rest);
  }
  record({.kind = RecordKind::kLinkDown, .note = std::string(reason)});
}

void ScenarioPeer::State::hangUp(HangUp how, std::string_view reason) {
  goDown(reason);
  if (handlers.onHangUp) handlers.onHangUp(how);
}

void ScenarioPeer::State::open() {
  if (!isUp && handlers.onOpen) handlers.onOpen();
}

void ScenarioPeer::State::send(std::span<const std::uint8_t> bytes) {
  stage(outward).pass(clock.now(), bytes,
                      [this](const FaultStage::Emission& emission) { give(outward, emission); });
}

void ScenarioPeer::State::give(Direction direction, const FaultStage::Emission& emission) {
  using Kind = FaultStage::Emission::Kind;
  if (!emission.note.empty()) {
    record(
        {.direction = direction, .kind = RecordKind::kFault, .note = std::string(emission.note)});
  }
  if (emission.kind != Kind::kBytes) {
    if (!isUp) return;
    hangUp(emission.kind == Kind::kReset ? HangUp::kReset : HangUp::kClose, emission.note);
    runner.linkDown();
    return;
  }
  if (!isUp || emission.bytes.empty()) return;
  if (direction != outward) return take(emission.bytes);
  cutter(outward).feed(emission.bytes,
                       [this](const FrameCutter::Piece& piece) { recordPiece(outward, piece); });
  if (handlers.onOutput) handlers.onOutput(emission.bytes);
}

void ScenarioPeer::State::take(std::span<const std::uint8_t> bytes) {
  const std::uint64_t connection = connections;
  while (const std::optional<FrameCutter::Piece> piece = cutter(inward()).next(bytes)) {
    recordPiece(inward(), *piece);
    if (piece->kind != RecordKind::kFrame) continue;
    const auto* const entry = entryOf(piece->bytes, directory);
    std::shared_ptr<const HudPacket> packet;
    if (entry != nullptr) packet = packetIn(piece->bytes, *entry);
    runner.receive(piece->bytes, std::move(packet));
    // What the scenario has ended takes nothing more.
    if (connection != connections) return;
  }
}

// What the other side answers inside of an operation waits until that has ended: a stage and a
// cutter do one thing after the other.
void ScenarioPeer::State::receive(std::span<const std::uint8_t> bytes) {
  came.insert(came.end(), bytes.begin(), bytes.end());
  if (isBusy) return;
  const FlagScope busy(isBusy);
  takeWhatCame();
}

void ScenarioPeer::State::takeWhatCame() {
  while (!came.empty()) {
    const std::vector<std::uint8_t> bytes = std::exchange(came, {});
    if (!isUp) return;
    stage(inward()).pass(clock.now(), bytes, [this](const FaultStage::Emission& emission) {
      give(inward(), emission);
    });
  }
}

void ScenarioPeer::State::advance() {
  if (!isBusy) {
    const FlagScope busy(isBusy);
    for (const Direction direction : {Direction::kToDisplay, Direction::kToPhone}) {
      stage(direction).passDue(
          clock.now(), [&](const FaultStage::Emission& emission) { give(direction, emission); });
    }
    takeWhatCame();
  }
  runner.advance();
}

ScenarioPeer::ScenarioPeer(const Scenario& scenario, const Clock& clock,
                           ScenarioPeerHandlers handlers, const ScenarioOptions& options)
    : state_(std::make_unique<State>(scenario, clock, std::move(handlers), options)) {}

ScenarioPeer::~ScenarioPeer() = default;

void ScenarioPeer::start() { state_->runner.start(); }

void ScenarioPeer::linkUp() {
  state_->goUp();
  state_->runner.linkUp();
}

void ScenarioPeer::linkDown(std::string_view reason) {
  if (!state_->isUp) return;
  State& state = *state_;
  state.stage(state.inward()).finish(state.clock.now());
  state.advance();  // what still came counts
  if (!state.isUp) return;
  state.goDown(reason);
  state.runner.linkDown();
}

void ScenarioPeer::receive(std::span<const std::uint8_t> bytes) {
  if (state_->isUp) state_->receive(bytes);
}

void ScenarioPeer::advance() { state_->advance(); }

std::optional<LinkTime> ScenarioPeer::nextDue() const {
  std::optional<LinkTime> next = state_->runner.nextDue();
  for (const FaultStage& each : state_->stages) {
    const auto due = each.nextDue();
    if (due && (!next || *due < *next)) next = due;
  }
  return next;
}

bool ScenarioPeer::isIdle() const {
  return isFinished() && !state_->stages[State::indexOf(state_->outward)].nextDue();
}

const ScenarioResult& ScenarioPeer::result() const { return state_->runner.result(); }

}  // namespace varno
