#include <VarnoLink/Relay.h>

#include <VarnoLink/LinkTimer.h>
#include <VarnoLink/Private/FramePlace.h>

#include <algorithm>
#include <array>
#include <limits>
#include <new>
#include <string>
#include <utility>

namespace varno {
namespace {

// How often an observer that is behind is looked at again.
constexpr std::chrono::milliseconds kBehindPause(1);
// What waits in a link before no more is read: enough for it to be busy, and little enough for the
// processor's caches.
constexpr std::size_t kMaxQueuedBytes = std::size_t{512} << 10;
constexpr std::size_t kMaxQueuedSends = 4096;
// With less than that, a frame that a fault waits for would stop the reading of its own rest.
constexpr std::size_t kLeastHeldBytes = 2 * FrameCutter::kDefaultMaxFrameBytes;

// What was read is never refused: no more is read instead.
LinkOptions withoutLimits(LinkOptions options) {
  options.maxQueuedBytes = options.maxQueuedSends = std::numeric_limits<std::size_t>::max();
  return options;
}

RelaySide otherSide(RelaySide side) {
  return side == RelaySide::kPhone ? RelaySide::kDisplay : RelaySide::kPhone;
}

Direction directionInto(RelaySide side) {
  return side == RelaySide::kDisplay ? Direction::kToDisplay : Direction::kToPhone;
}

RelaySide exitOf(Direction direction) {
  return direction == Direction::kToDisplay ? RelaySide::kDisplay : RelaySide::kPhone;
}

std::string_view insertedNote(Direction direction) {
  return direction == Direction::kToDisplay ? "not from the phone" : "not from the display";
}

}  // namespace

std::string_view relaySideText(RelaySide side) noexcept {
  return side == RelaySide::kPhone ? "phone side" : "display side";
}

struct Relay::State {
  // What a side does once all that leaves by it has left; kDone until that is told.
  enum class Ending : std::uint8_t { kNone, kHangUp, kReset, kDone };

  struct Side {
    Side(State& state, RelaySide which, Address address, const LinkOptions& linkOptions)
        : link(state.loop, std::move(address), linkOptions, state.handlersOf(which)) {
      link.pauseReading();
    }

    bool isUsable() const { return isUp && ending == Ending::kNone; }

    Link link;
    bool isUp = false;
    bool isReading = false;
    Ending ending = Ending::kNone;
  };

  // One direction.
  struct Way {
    Way(State& state, Direction which, std::uint64_t seed)
        : direction(which), stage(which, seed), timer(state.loop) {}

    Direction direction;
    FaultStage stage;
    LinkTimer timer;
    std::uint64_t passedBytes = 0;
    FramePlace place;                    // of what comes
    std::vector<std::uint8_t> inserted;  // waits for the end of the frame that is passing
  };

  State(LinkLoop& givenLoop, Address phoneSide, Address displaySide, const RelayOptions& given)
      : loop(givenLoop),
        maxHeldBytes(std::max(given.maxHeldBytes, kLeastHeldBytes)),
        behindTimer(loop),
        ways{Way(*this, Direction::kToDisplay, given.seed),
             Way(*this, Direction::kToPhone, given.seed)},
        phone(*this, RelaySide::kPhone, std::move(phoneSide), withoutLimits(given.link)),
        display(*this, RelaySide::kDisplay, std::move(displaySide), withoutLimits(given.link)) {}

  Side& side(RelaySide which) { return which == RelaySide::kPhone ? phone : display; }
  Way& wayInto(RelaySide which) { return ways[static_cast<std::size_t>(directionInto(which))]; }
  LinkTime now() const { return loop.clock().now(); }

  LinkHandlers handlersOf(RelaySide which);
  void onStatus(RelaySide which, const LinkStatus& status);
  void show(RelaySide which, bool isUp, const std::string& why);
  void hangUp(RelaySide which);
  void onDown(RelaySide which);
  void onBytes(RelaySide which, std::span<const std::uint8_t> bytes);
  void pass(RelaySide to, std::span<const std::uint8_t> bytes);
  bool send(RelaySide to, std::span<const std::uint8_t> bytes);
  void insert(RelaySide to, std::span<const std::uint8_t> bytes);
  void pump(RelaySide to);
  void emit(RelaySide to, LinkTime time, const FaultStage::Emission& emission);
  void show(LinkTime time, Direction direction, const FaultStage::Emission& emission);
  void show(const TrafficRecord& record);
  void lookAfterObservers();
  void updateReading();
  void updateReading(RelaySide from);
  void endIfDrained(RelaySide which);

  LinkLoop& loop;
  const std::size_t maxHeldBytes;
  std::vector<TrafficObserver*> observers;
  OnStatus tellStatus;
  LinkTimer behindTimer;
  bool isBehind = false;  // an observer
  std::array<Way, 2> ways;
  Side phone;
  Side display;
};

LinkHandlers Relay::State::handlersOf(RelaySide which) {
  LinkHandlers handlers;
  handlers.onStatus = [this, which](const LinkStatus& status) { onStatus(which, status); };
  handlers.onBytes = [this, which](std::span<const std::uint8_t> bytes) { onBytes(which, bytes); };
  handlers.onWritten = [this, which](std::size_t, std::size_t) { pump(which); };
  return handlers;
}

void Relay::State::onStatus(RelaySide which, const LinkStatus& status) {
  Side& one = side(which);
  const bool wasUp = std::exchange(one.isUp, status.state == LinkState::kUp);
  if (one.isUp != wasUp) {
    show(which, one.isUp, one.isUp ? status.address.text() : status.reason);
    if (wasUp) onDown(which);
  }
  updateReading();
  if (const OnStatus tell = tellStatus) tell(which, status);  // it may replace or destroy its own
}

void Relay::State::show(RelaySide which, bool isUp, const std::string& why) {
  TrafficRecord record{.time = now().time_since_epoch().count(),
                       .kind = isUp ? RecordKind::kLinkUp : RecordKind::kLinkDown};
  record.note = std::string(relaySideText(which)) + ": " + why;
  show(record);
}

void Relay::State::hangUp(RelaySide which) {
  Side& one = side(which);
  one.link.close();
  if (!std::exchange(one.isUp, false)) return;
  show(which, false, "this side hung up");
  onDown(which);
  updateReading();
}

// What came from the side still leaves, and then the other one ends, too. It may be up for somebody
// else already, where it went down first and this one followed.
void Relay::State::onDown(RelaySide which) {
  const RelaySide otherOne = otherSide(which);
  Side& other = side(otherOne);
  const bool isFirst = std::exchange(side(which).ending, Ending::kNone) == Ending::kNone;
  wayInto(which).stage.restart();
  wayInto(which).timer.cancel();
  for (Way& way : ways) {
    way.place = {};
    way.inserted.clear();
  }
  if (isFirst && other.isUsable()) other.ending = Ending::kHangUp;
  if (other.isUsable()) {
    wayInto(otherOne).stage.restart();
  } else {
    wayInto(otherOne).stage.finish(now());
  }
  pump(otherOne);
}

void Relay::State::onBytes(RelaySide which, std::span<const std::uint8_t> bytes) {
  const RelaySide to = otherSide(which);
  Way& way = wayInto(to);
  if (!way.inserted.empty()) {
    const auto rest = bytes.first(FramePlace::restIn(bytes));
    if (!rest.empty()) pass(to, rest);
    bytes = bytes.subspan(rest.size());
    const bool isEnded = !bytes.empty() || !way.place.isInFrame();
    if (isEnded) insert(to, std::exchange(way.inserted, {}));
  }
  if (!bytes.empty()) pass(to, bytes);
}

void Relay::State::pass(RelaySide to, std::span<const std::uint8_t> bytes) {
  wayInto(to).place.pass(bytes);
  FaultStage& stage = wayInto(to).stage;
  const LinkTime time = now();
  if (stage.isTransparent()) {
    FaultStage::Emission emission;
    emission.bytes = bytes;
    emit(to, time, emission);
    updateReading(otherSide(to));
  } else {
    stage.feed(time, bytes);
    pump(to);
  }
}

bool Relay::State::send(RelaySide to, std::span<const std::uint8_t> bytes) {
  Way& way = wayInto(to);
  const std::size_t waiting = way.stage.waitingBytes() + way.inserted.size();
  if (!side(to).isUsable() || waiting + bytes.size() > maxHeldBytes) return false;
  if (way.place.isInFrame()) {
    way.inserted.insert(way.inserted.end(), bytes.begin(), bytes.end());
  } else {
    insert(to, bytes);
  }
  return true;
}

void Relay::State::insert(RelaySide to, std::span<const std::uint8_t> bytes) {
  Way& way = wayInto(to);
  way.stage.insert(now(), bytes, insertedNote(way.direction));
  pump(to);
}

// Lets leave what may leave now. Each piece is a write of its own: of several in a row, the link
// would make one.
void Relay::State::pump(RelaySide to) {
  Way& way = wayInto(to);
  Side& exit = side(to);
  if (way.stage.nextDue()) {
    FaultStage::Emission emission;
    const LinkTime time = now();
    while (exit.isUp && exit.link.queuedBytes() == 0 && way.stage.take(time, emission)) {
      emit(to, time, emission);
    }
    // Where something may leave already, the link tells when it has room.
    const std::optional<LinkTime> due = way.stage.nextDue();
    if (due && *due > time) way.timer.at(*due, [this, to] { pump(to); });
  }
  endIfDrained(to);
  updateReading(otherSide(to));
}

void Relay::State::emit(RelaySide to, LinkTime time, const FaultStage::Emission& emission) {
  using Kind = FaultStage::Emission::Kind;
  Way& way = wayInto(to);
  Link& exit = side(to).link;
  try {
    if (!emission.bytes.empty() && !exit.sendOrThrow(emission.bytes)) return;  // it is going down
  } catch (const std::bad_alloc&) {
    return exit.reset();  // rather than go on with a gap in the stream
  }
  way.passedBytes += emission.bytes.size();
  show(time, way.direction, emission);
  if (emission.kind == Kind::kBytes) return;
  for (const RelaySide which : {to, otherSide(to)}) {
    if (side(which).isUsable()) {
      side(which).ending = emission.kind == Kind::kReset ? Ending::kReset : Ending::kHangUp;
    }
    endIfDrained(which);
  }
}

void Relay::State::show(LinkTime time, Direction direction, const FaultStage::Emission& emission) {
  if (emission.isAltered) {
    show({time.time_since_epoch().count(),
          direction,
          RecordKind::kFault,
          {emission.bytes.begin(), emission.bytes.end()},
          std::string(emission.note)});
    return;
  }
  for (TrafficObserver* const observer : observers) {
    observer->onBytes(time, direction, emission.bytes, emission.note);
  }
  lookAfterObservers();
}

void Relay::State::show(const TrafficRecord& record) {
  for (TrafficObserver* const observer : observers) observer->onRecord(record);
  lookAfterObservers();
}

void Relay::State::lookAfterObservers() {
  const bool wasBehind = isBehind;
  isBehind = std::any_of(observers.begin(), observers.end(),
                         [](const TrafficObserver* observer) { return observer->isBehind(); });
  if (isBehind && !behindTimer.isSet()) {
    behindTimer.after(kBehindPause, [this] { lookAfterObservers(); });
  }
  if (isBehind != wasBehind) updateReading();
}

void Relay::State::updateReading() {
  updateReading(RelaySide::kPhone);
  updateReading(RelaySide::kDisplay);
}

void Relay::State::updateReading(RelaySide from) {
  Side& entry = side(from);
  const Side& exit = side(otherSide(from));
  bool reads = entry.isUsable() && exit.isUsable() && !isBehind;
  if (reads) {
    // Once held up, it goes on when half of what waits has left.
    const std::size_t part = entry.isReading ? 1 : 2;
    reads = exit.link.queuedBytes() <= kMaxQueuedBytes / part &&
            exit.link.queuedSends() <= kMaxQueuedSends / part &&
            wayInto(otherSide(from)).stage.waitingBytes() <= maxHeldBytes / part;
  }
  if (reads == entry.isReading) return;
  entry.isReading = reads;
  if (reads) {
    entry.link.resumeReading();
  } else {
    entry.link.pauseReading();
  }
}

void Relay::State::endIfDrained(RelaySide which) {
  Side& one = side(which);
  if (one.ending == Ending::kNone || one.ending == Ending::kDone || one.link.queuedBytes() > 0 ||
      wayInto(which).stage.nextDue()) {
    return;
  }
  const bool isReset = one.ending == Ending::kReset;
  one.ending = Ending::kDone;
  if (isReset) {
    one.link.reset();
  } else {
    one.link.hangUp();
  }
}

Relay::Relay(LinkLoop& loop, Address phoneSide, Address displaySide, const RelayOptions& options)
    : state_(std::make_unique<State>(loop, std::move(phoneSide), std::move(displaySide), options)) {
}

Relay::~Relay() = default;

void Relay::open() {
  state_->display.link.open();
  state_->phone.link.open();
}

void Relay::close() noexcept {
  for (State::Side* const side : {&state_->phone, &state_->display}) {
    side->link.close();
    side->isUp = false;
    side->ending = State::Ending::kNone;
  }
  for (State::Way& way : state_->ways) {
    way.timer.cancel();
    way.stage.restart();
    way.place = {};
    way.inserted.clear();
  }
}

void Relay::hangUp(RelaySide side) { state_->hangUp(side); }

bool Relay::send(Direction direction, std::span<const std::uint8_t> bytes) {
  return state_->send(exitOf(direction), bytes);
}

void Relay::addObserver(TrafficObserver& observer) { state_->observers.push_back(&observer); }

void Relay::removeObserver(TrafficObserver& observer) { std::erase(state_->observers, &observer); }

void Relay::setOnStatus(OnStatus onStatus) { state_->tellStatus = std::move(onStatus); }

std::uint64_t Relay::addFault(Direction direction, const Fault& fault) {
  return state_->ways[static_cast<std::size_t>(direction)].stage.add(fault);
}

bool Relay::removeFault(Direction direction, std::uint64_t id) {
  const bool wasThere = state_->ways[static_cast<std::size_t>(direction)].stage.remove(id);
  state_->pump(exitOf(direction));
  return wasThere;
}

void Relay::clearFaults(Direction direction) {
  state_->ways[static_cast<std::size_t>(direction)].stage.clear();
  state_->pump(exitOf(direction));
}

std::vector<FaultStage::Entry> Relay::faults(Direction direction) const {
  return state_->ways[static_cast<std::size_t>(direction)].stage.entries();
}

const LinkStatus& Relay::status(RelaySide side) const { return state_->side(side).link.status(); }

std::uint64_t Relay::passedBytes(Direction direction) const {
  return state_->ways[static_cast<std::size_t>(direction)].passedBytes;
}

}  // namespace varno
