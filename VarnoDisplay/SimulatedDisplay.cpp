#include <VarnoDisplay/SimulatedDisplay.h>

#include <VarnoDisplay/Private/Answers.h>
#include <VarnoDisplay/Private/Effects.h>
#include <VarnoNetwork/Network/Command/KeepAliveCommandPacket.h>
#include <VarnoTraffic/FrameContent.h>

#include <algorithm>
#include <array>
#include <typeinfo>
#include <utility>

namespace varno {
namespace {

constexpr std::uint8_t kEventCommand = 3;

std::optional<LinkTime> earlier(std::optional<LinkTime> left, std::optional<LinkTime> right) {
  if (!left || !right) return left ? left : right;
  return std::min(*left, *right);
}

}  // namespace

struct SimulatedDisplay::State {
  State(const Clock& displayClock, DisplayOptions displayOptions)
      : clock(displayClock),
        options(std::move(displayOptions)),
        panel(options),
        told(panel.state),
        history(options.maxHistory),
        stages{FaultStage(Direction::kToDisplay, options.seed),
               FaultStage(Direction::kToPhone, options.seed)},
        answers(options, panel,
                {.send = [this](const HudPacket& packet) { send(packet); },
                 .hangUp = [this](HangUp how) { hangUp(how); },
                 .note =
                     [this](std::string note) {
                       record({.kind = RecordKind::kNote, .note = std::move(note)});
                     }}) {}

  void record(TrafficRecord record);
  void recordPiece(Direction direction, const FrameCutter::Piece& piece);
  void tellChanges(std::string_view cause, LinkTime now);

  void goUp();
  void goDown(std::string_view reason);
  void hangUp(HangUp how);

  FaultStage& stage(Direction direction) {
    return stages[direction == Direction::kToDisplay ? 0 : 1];
  }
  // Whether the emission has bytes that go on; otherwise the link is ended where it says so.
  bool goesOn(Direction direction, const FaultStage::Emission& emission);
  void takeEmission(const FaultStage::Emission& emission);
  void giveEmission(const FaultStage::Emission& emission);

  void take(std::span<const std::uint8_t> bytes);
  void takeFrame(const FrameCutter::Piece& frame);
  void wrote(std::span<const std::uint8_t> frame);
  std::shared_ptr<HudPacket> packetOf(std::span<const std::uint8_t> frame) const;
  void send(const HudPacket& packet);
  void sendBytes(std::span<const std::uint8_t> bytes);
  void receive(std::span<const std::uint8_t> bytes);
  void advance();
  std::optional<LinkTime> nextDue() const;

  const Clock& clock;
  const DisplayOptions options;
  DisplayPanel panel;
  DisplayState told;  // as the changes that were told make it
  DisplayHandlers handlers;
  TrafficHistory history;
  FrameCutter fromPhone;
  FrameCutter written;  // by the display, before the faults
  FrameCutter toPhone;
  std::array<FaultStage, 2> stages;
  DisplayAnswers answers;
  std::uint64_t connections = 0;  // how often the link came up or went down
  std::uint64_t packetsReceived = 0;
  std::uint64_t packetsSent = 0;
};

void SimulatedDisplay::State::record(TrafficRecord record) {
  record.time = clock.now().time_since_epoch().count();
  if (handlers.onRecord) handlers.onRecord(record);
  history.add(std::move(record));
}

void SimulatedDisplay::State::recordPiece(Direction direction, const FrameCutter::Piece& piece) {
  record({.direction = direction,
          .kind = piece.kind,
          .bytes = {piece.bytes.begin(), piece.bytes.end()}});
}

void SimulatedDisplay::State::tellChanges(std::string_view cause, LinkTime now) {
  if (!handlers.onChange || told == panel.state) return;
  const std::vector<StateChange> changes =
      changesBetween(told, panel.state, now.time_since_epoch().count(), cause);
  told = panel.state;
  for (const StateChange& change : changes) handlers.onChange(change);
}

void SimulatedDisplay::State::goUp() {
  LinkView& link = panel.state.link;
  if (link.isUp) return;
  ++connections;
  link.isUp = true;
  link.missedKeepAlives = 0;
  link.lineChecks = 0;
  link.saidGoodbye = false;
  for (FaultStage& each : stages) each.restart();
  record({.kind = RecordKind::kLinkUp});
  answers.linkUp(clock.now());
  tellChanges("link", clock.now());
}

void SimulatedDisplay::State::goDown(std::string_view reason) {
  if (!panel.state.link.isUp) return;
  ++connections;
  if (const auto rest = fromPhone.finish()) recordPiece(Direction::kToDisplay, *rest);
  written.finish();
  if (const auto rest = toPhone.finish()) recordPiece(Direction::kToPhone, *rest);
  panel.state.link.isUp = false;
  panel.state.link.isPhoneAlive = false;
  answers.linkDown();
  record({.kind = RecordKind::kLinkDown, .note = std::string(reason)});
  tellChanges("link", clock.now());
}

void SimulatedDisplay::State::hangUp(HangUp how) {
  if (!panel.state.link.isUp) return;
  goDown(how == HangUp::kClose ? "the display hung up" : "the display reset the link");
  if (handlers.onHangUp) handlers.onHangUp(how);
}

bool SimulatedDisplay::State::goesOn(Direction direction, const FaultStage::Emission& emission) {
  using Kind = FaultStage::Emission::Kind;
  if (!emission.note.empty()) {
    record(
        {.direction = direction, .kind = RecordKind::kFault, .note = std::string(emission.note)});
  }
  if (emission.kind == Kind::kClose) hangUp(HangUp::kClose);
  if (emission.kind == Kind::kReset) hangUp(HangUp::kReset);
  return emission.kind == Kind::kBytes && panel.state.link.isUp;
}

void SimulatedDisplay::State::takeEmission(const FaultStage::Emission& emission) {
  if (goesOn(Direction::kToDisplay, emission)) take(emission.bytes);
}

void SimulatedDisplay::State::giveEmission(const FaultStage::Emission& emission) {
  if (!goesOn(Direction::kToPhone, emission) || emission.bytes.empty()) return;
  toPhone.feed(emission.bytes, [this](const FrameCutter::Piece& piece) {
    recordPiece(Direction::kToPhone, piece);
  });
  if (handlers.onOutput) handlers.onOutput(emission.bytes);
}

std::shared_ptr<HudPacket> SimulatedDisplay::State::packetOf(
    std::span<const std::uint8_t> frame) const {
  const PacketDirectory::Entry* const entry = entryOf(frame, options.directory);
  return entry != nullptr ? packetIn(frame, *entry) : nullptr;
}

void SimulatedDisplay::State::take(std::span<const std::uint8_t> bytes) {
  const std::uint64_t connection = connections;
  while (const std::optional<FrameCutter::Piece> piece = fromPhone.next(bytes)) {
    recordPiece(Direction::kToDisplay, *piece);
    if (piece->kind == RecordKind::kFrame) takeFrame(*piece);
    // What a handler has ended takes nothing more.
    if (connection != connections) return;
  }
}

void SimulatedDisplay::State::takeFrame(const FrameCutter::Piece& frame) {
  const std::shared_ptr<HudPacket> packet = packetOf(frame.bytes);
  const bool isForDisplay = packet != nullptr && packet->getCommand() != kEventCommand;
  const LinkTime now = clock.now();
  if (packet != nullptr) ++packetsReceived;
  if (isForDisplay) {
    panel.apply(*packet, now);
    const HudPacket& known = *packet;  // clang warns of a typeid that dereferences
    if (typeid(known) == typeid(KeepAliveCommandPacket)) answers.keepAlive(now);
    tellChanges(packet->typeName(), now);
  }
  if (handlers.onFrame && handlers.onFrame(frame.bytes, packet)) return;
  if (isForDisplay && panel.state.link.isUp) answers.answer(*packet, now);
}

void SimulatedDisplay::State::send(const HudPacket& packet) { sendBytes(displayFrameOf(packet)); }

void SimulatedDisplay::State::sendBytes(std::span<const std::uint8_t> bytes) {
  if (!panel.state.link.isUp) return;
  written.feed(bytes, [this](const FrameCutter::Piece& piece) {
    if (piece.kind == RecordKind::kFrame) wrote(piece.bytes);
  });
  stage(Direction::kToPhone).pass(clock.now(), bytes, [this](const FaultStage::Emission& emission) {
    giveEmission(emission);
  });
}

void SimulatedDisplay::State::wrote(std::span<const std::uint8_t> frame) {
  const std::shared_ptr<HudPacket> packet = packetOf(frame);
  if (packet == nullptr) return;
  ++packetsSent;
  if (packet->getCommand() != kEventCommand) return;
  const LinkTime now = clock.now();
  panel.apply(*packet, now);
  answers.sent(*packet, now);
  tellChanges(packet->typeName(), now);
}

void SimulatedDisplay::State::advance() {
  const LinkTime now = clock.now();
  const std::optional<LinkTime> due = nextDue();
  if (!due || *due > now) return;
  panel.removeTimedOut(now);
  answers.runDue(now);
  stage(Direction::kToDisplay).passDue(now, [this](const FaultStage::Emission& emission) {
    takeEmission(emission);
  });
  stage(Direction::kToPhone).passDue(now, [this](const FaultStage::Emission& emission) {
    giveEmission(emission);
  });
  tellChanges("time", now);
}

void SimulatedDisplay::State::receive(std::span<const std::uint8_t> bytes) {
  if (!panel.state.link.isUp) return;
  advance();
  if (!panel.state.link.isUp) return;
  stage(Direction::kToDisplay)
      .pass(clock.now(), bytes,
            [this](const FaultStage::Emission& emission) { takeEmission(emission); });
}

std::optional<LinkTime> SimulatedDisplay::State::nextDue() const {
  std::optional<LinkTime> next = earlier(panel.nextTimeOut(), answers.nextDue());
  for (const FaultStage& each : stages) next = earlier(next, each.nextDue());
  return next;
}

SimulatedDisplay::SimulatedDisplay(const Clock& clock, DisplayOptions options)
    : state_(std::make_unique<State>(clock, std::move(options))) {}

SimulatedDisplay::~SimulatedDisplay() = default;

void SimulatedDisplay::setHandlers(DisplayHandlers handlers) {
  state_->handlers = std::move(handlers);
  state_->told = state_->panel.state;
}

void SimulatedDisplay::linkUp() { state_->goUp(); }
void SimulatedDisplay::linkDown(std::string_view reason) { state_->goDown(reason); }

void SimulatedDisplay::receive(std::span<const std::uint8_t> bytes) { state_->receive(bytes); }
void SimulatedDisplay::advance() { state_->advance(); }
std::optional<LinkTime> SimulatedDisplay::nextDue() const { return state_->nextDue(); }

void SimulatedDisplay::send(const HudPacket& packet) { state_->send(packet); }
void SimulatedDisplay::sendBytes(std::span<const std::uint8_t> bytes) { state_->sendBytes(bytes); }

void SimulatedDisplay::disconnect(HangUp how) { state_->hangUp(how); }

void SimulatedDisplay::setAnswer(DisplayAnswer answer, bool isOn) {
  state_->answers.setOn(answer, isOn);
}

std::uint64_t SimulatedDisplay::fault(Direction direction, const Fault& fault) {
  return state_->stage(direction).add(fault);
}

bool SimulatedDisplay::removeFault(Direction direction, std::uint64_t id) {
  return state_->stage(direction).remove(id);
}

std::vector<FaultStage::Entry> SimulatedDisplay::faults(Direction direction) const {
  return state_->stage(direction).entries();
}

const DisplayState& SimulatedDisplay::state() const { return state_->panel.state; }
const TrafficHistory& SimulatedDisplay::history() const { return state_->history; }
const FrameCutter::Counts& SimulatedDisplay::receivedCounts() const {
  return state_->fromPhone.counts();
}
std::uint64_t SimulatedDisplay::packetsReceived() const { return state_->packetsReceived; }
std::uint64_t SimulatedDisplay::packetsSent() const { return state_->packetsSent; }

void SimulatedDisplay::forEachPacket(Direction direction, PacketType type,
                                     const std::function<void(const HudPacket&)>& action) const {
  for (const TrafficRecord& record : state_->history.records()) {
    if (record.kind != RecordKind::kFrame || record.direction != direction) continue;
    const auto* const entry = entryOf(record.bytes, state_->options.directory);
    if (entry == nullptr || !(entry->type == type)) continue;
    if (const std::shared_ptr<HudPacket> packet = packetIn(record.bytes, *entry)) action(*packet);
  }
}

}  // namespace varno
