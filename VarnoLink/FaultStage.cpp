#include <VarnoLink/FaultStage.h>

#include <VarnoLink/Duration.h>
#include <VarnoLink/Private/SeededRandom.h>
#include <VarnoNetwork/Network/HudException.h>
#include <VarnoNetwork/Network/Wire.h>
#include <VarnoTraffic/FrameCutter.h>

#include <algorithm>
#include <deque>
#include <utility>

namespace varno {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Nanoseconds = std::chrono::nanoseconds;
using Emission = FaultStage::Emission;

// How often a frame of a limited rate leaves in pieces.
constexpr std::uint64_t kPiecesPerSecond = 50;

// A piece of the stream on its way through the faults and out of the stage.
struct Unit {
  Emission::Kind kind = Emission::Kind::kBytes;
  Bytes bytes;
  bool isFrame = false;
  bool isAltered = false;
  std::string note;
  LinkTime earliest;

  // How it leaves.
  std::uint64_t pieceBytes = 0;  // 0: all at once
  Nanoseconds pieceGap{0};
  std::uint64_t rate = 0;  // 0: at once

  void addNote(const Fault& fault) {
    if (!note.empty()) note += ", ";
    note += faultText(fault);
  }
};

struct ActiveFault {
  std::uint64_t id;
  Fault fault;
  SeededRandom random;
  std::uint64_t acted = 0;
  std::uint64_t passedBytes = 0;  // of `limit`

  bool mayAct() const { return fault.chance > 0 && acted < fault.count.value_or(acted + 1); }

  // Whether it acts on a frame that it can act on.
  bool takesChance() {
    if (!mayAct()) return false;
    if (fault.chance < Fault::kCertain && random.below(Fault::kCertain) >= fault.chance)
      return false;
    ++acted;
    return true;
  }

  // The fault without what concerns other frames: what it did to this one.
  Fault deed() const {
    Fault deed = fault;
    deed.count.reset();
    deed.chance = Fault::kCertain;
    return deed;
  }
};

}  // namespace

struct FaultStage::State {
  Direction direction;
  std::uint64_t seed;
  std::uint64_t added = 0;
  std::vector<ActiveFault> faults;
  bool mayAct = false;  // some of the faults

  FrameCutter cutter;
  std::size_t heldBytes = 0;  // in the cutter
  LinkTime fedLast;
  std::deque<Unit> queue;
  std::size_t queuedBytes = 0;
  std::size_t leftOfFirst = 0;   // how much of the first unit has left
  LinkTime firstBegan;           // when its first piece was due
  LinkTime pieceLast;            // when its last piece was
  std::optional<LinkTime> left;  // when the unit before it had left
  LinkTime stalledUntil;
  bool isEnded = false;  // the link was closed or reset by a fault
  Unit given;            // what the last emission shows

  void feed(LinkTime now, std::span<const std::uint8_t> bytes);
  void push(LinkTime now, std::span<const std::uint8_t> bytes, bool isFrame);
  void append(Unit unit);
  void releaseHeld();
  void settle();
  LinkTime beginOfFirst() const;
  LinkTime dueOfFirst() const;
  std::size_t nextPiece() const;

  void act(ActiveFault& active, std::vector<Unit>& units, LinkTime now);
  bool actsOn(ActiveFault& active, const Unit& unit, LinkTime now) const;
  void apply(ActiveFault& active, Unit unit, std::vector<Unit>& units, LinkTime now);
  void applyLimit(ActiveFault& active, Unit unit, std::vector<Unit>& units);
  void endLink(Emission::Kind kind, const ActiveFault& active, std::vector<Unit>& units,
               LinkTime earliest);
};

void FaultStage::State::feed(LinkTime now, std::span<const std::uint8_t> bytes) {
  fedLast = now;
  while (!isEnded && !bytes.empty()) {
    if (!mayAct) return push(now, std::exchange(bytes, {}), false);
    const std::size_t before = bytes.size();
    const auto piece = cutter.next(bytes);
    if (!piece) {
      heldBytes += before;
      return;
    }
    heldBytes = 0;
    push(now, piece->bytes, piece->kind == RecordKind::kFrame);
    settle();
  }
}

// Takes the bytes through the faults.
void FaultStage::State::push(LinkTime now, std::span<const std::uint8_t> bytes, bool isFrame) {
  std::vector<Unit> units(1);
  units[0].bytes.assign(bytes.begin(), bytes.end());
  units[0].isFrame = isFrame;
  units[0].earliest = now;
  for (ActiveFault& active : faults) {
    if (active.mayAct()) act(active, units, now);
  }
  for (Unit& unit : units) append(std::move(unit));
}

void FaultStage::State::append(Unit unit) {
  queuedBytes += unit.bytes.size();
  queue.push_back(std::move(unit));
}

// What the cutter holds is part of a frame that no fault will act on.
void FaultStage::State::releaseHeld() {
  heldBytes = 0;
  if (const auto piece = cutter.finish()) push(fedLast, piece->bytes, false);
}

void FaultStage::State::settle() {
  mayAct = std::any_of(faults.begin(), faults.end(),
                       [](const ActiveFault& active) { return active.mayAct(); });
  if (!mayAct && !isEnded) releaseHeld();
}

void FaultStage::State::act(ActiveFault& active, std::vector<Unit>& units, LinkTime now) {
  std::vector<Unit> results;
  for (Unit& unit : units) {
    if (!results.empty() && results.back().kind != Emission::Kind::kBytes) break;
    if (active.fault.kind == FaultKind::kLimit) {
      applyLimit(active, std::move(unit), results);
    } else if (actsOn(active, unit, now)) {
      apply(active, std::move(unit), results, now);
    } else {
      results.push_back(std::move(unit));
    }
  }
  units = std::move(results);
}

bool FaultStage::State::actsOn(ActiveFault& active, const Unit& unit, LinkTime now) const {
  if (!unit.isFrame) return false;
  const Fault& fault = active.fault;
  const std::size_t size = unit.bytes.size();
  const bool isPossible = (fault.kind != FaultKind::kCorrupt || fault.byte.value_or(0) < size) &&
                          (fault.kind != FaultKind::kTear || fault.bytes.value_or(1) < size) &&
                          (fault.kind != FaultKind::kStall || now >= stalledUntil);
  return isPossible && active.takesChance();
}

void FaultStage::State::apply(ActiveFault& active, Unit unit, std::vector<Unit>& units,
                              LinkTime now) {
  Fault deed = active.deed();
  SeededRandom& random = active.random;
  switch (deed.kind) {
    case FaultKind::kLatency: {
      const auto jitter = static_cast<std::uint64_t>(deed.jitter.value_or(Nanoseconds(0)).count());
      const Nanoseconds shift(static_cast<std::int64_t>(random.below(2 * jitter + 1)) -
                              static_cast<std::int64_t>(jitter));
      deed.delay = std::max(*deed.delay + shift, Nanoseconds(0));
      deed.jitter.reset();
      unit.earliest += *deed.delay;
      break;
    }
    case FaultKind::kBandwidth:
      unit.rate = unit.rate == 0 ? *deed.rate : std::min(unit.rate, *deed.rate);
      break;
    case FaultKind::kSlicer:
      unit.pieceBytes = *deed.size;
      unit.pieceGap = deed.delay.value_or(Nanoseconds(0));
      break;
    case FaultKind::kStall:
      stalledUntil = now + *deed.duration;
      unit.earliest = std::max(unit.earliest, stalledUntil);
      break;
    case FaultKind::kDrop:
      unit.note += unit.note.empty() ? "" : ", ";
      unit.note += "drop, a frame of " + std::to_string(unit.bytes.size()) + " bytes";
      unit.bytes.clear();
      unit.isFrame = false;
      unit.isAltered = true;
      units.push_back(std::move(unit));
      return;
    case FaultKind::kDuplicate:
      units.push_back(unit);
      unit.isAltered = true;
      break;
    case FaultKind::kCorrupt:
      deed.byte = deed.byte ? *deed.byte : random.below(unit.bytes.size());
      deed.bit = deed.bit ? *deed.bit : random.below(8);
      unit.bytes[*deed.byte] ^= static_cast<std::uint8_t>(1U << *deed.bit);
      unit.isAltered = true;
      break;
    case FaultKind::kTear:
      deed.bytes = deed.bytes ? *deed.bytes : 1 + random.below(unit.bytes.size() - 1);
      unit.bytes.resize(*deed.bytes);
      unit.isAltered = true;
      break;
    case FaultKind::kNoise: {
      Unit noise;
      noise.earliest = unit.earliest;
      noise.isAltered = true;
      noise.addNote(deed);
      while (noise.bytes.size() < *deed.bytes) {
        const auto byte = static_cast<std::uint8_t>(random.next() >> 56);
        if (byte != STX) noise.bytes.push_back(byte);
      }
      units.push_back(std::move(noise));
      units.push_back(std::move(unit));
      return;
    }
    case FaultKind::kLimit: return;  // see applyLimit
    case FaultKind::kReset: return endLink(Emission::Kind::kReset, active, units, unit.earliest);
  }
  unit.addNote(deed);
  units.push_back(std::move(unit));
}

void FaultStage::State::applyLimit(ActiveFault& active, Unit unit, std::vector<Unit>& units) {
  const std::uint64_t room = *active.fault.bytes - active.passedBytes;
  active.passedBytes += unit.bytes.size();
  const LinkTime earliest = unit.earliest;
  const bool isReached = unit.bytes.size() >= room;
  if (isReached) active.passedBytes = 0;
  const bool acts = isReached && active.takesChance();
  if (acts && unit.bytes.size() > room) {
    unit.bytes.resize(room);
    unit.isAltered = true;
  }
  units.push_back(std::move(unit));
  if (acts) endLink(Emission::Kind::kClose, active, units, earliest);
}

void FaultStage::State::endLink(Emission::Kind kind, const ActiveFault& active,
                                std::vector<Unit>& units, LinkTime earliest) {
  Unit end;
  end.kind = kind;
  end.earliest = earliest;
  end.isAltered = true;
  end.addNote(active.deed());
  units.push_back(std::move(end));
  isEnded = true;
}

// How much of the first unit leaves next.
std::size_t FaultStage::State::nextPiece() const {
  const Unit& first = queue.front();
  const std::size_t rest = first.bytes.size() - leftOfFirst;
  std::uint64_t piece = first.pieceBytes;
  if (piece == 0) piece = first.rate > 0 ? first.rate / kPiecesPerSecond + 1 : rest;
  return static_cast<std::size_t>(std::min<std::uint64_t>(piece, rest));
}

LinkTime FaultStage::State::beginOfFirst() const {
  if (leftOfFirst > 0) return firstBegan;
  const Unit& first = queue.front();
  return left ? std::max(first.earliest, *left + first.pieceGap) : first.earliest;
}

LinkTime FaultStage::State::dueOfFirst() const {
  const Unit& first = queue.front();
  const LinkTime begin = beginOfFirst();
  const LinkTime due = leftOfFirst == 0 ? begin : pieceLast + first.pieceGap;
  if (first.rate == 0) return due;
  // From the unit's beginning on, so that no rounding adds up.
  const std::uint64_t onLine = (leftOfFirst + nextPiece()) * std::nano::den / first.rate;
  return std::max(due, begin + Nanoseconds(static_cast<std::int64_t>(onLine)));
}

FaultStage::FaultStage(Direction direction, std::uint64_t seed)
    : state_(std::make_unique<State>()) {
  state_->direction = direction;
  state_->seed = seed;
}

FaultStage::FaultStage(FaultStage&&) noexcept = default;
FaultStage& FaultStage::operator=(FaultStage&&) noexcept = default;
FaultStage::~FaultStage() = default;

std::uint64_t FaultStage::add(const Fault& fault) {
  if (const std::string problem = faultProblem(fault); !problem.empty()) {
    throw InvalidArgumentException(problem);
  }
  const std::uint64_t id = ++state_->added;
  const std::uint64_t stream = 2 * id + static_cast<std::uint64_t>(state_->direction);
  state_->faults.push_back({id, fault, SeededRandom(state_->seed, stream)});
  state_->settle();
  return id;
}

bool FaultStage::remove(std::uint64_t id) {
  const auto removed =
      std::erase_if(state_->faults, [id](const ActiveFault& active) { return active.id == id; });
  state_->settle();
  return removed > 0;
}

void FaultStage::clear() {
  state_->faults.clear();
  state_->settle();
}

std::vector<FaultStage::Entry> FaultStage::entries() const {
  std::vector<Entry> entries;
  for (const ActiveFault& active : state_->faults) {
    entries.push_back({active.id, active.fault, active.acted});
  }
  return entries;
}

bool FaultStage::isTransparent() const noexcept {
  return !state_->mayAct && !state_->isEnded && state_->queue.empty();
}

void FaultStage::feed(LinkTime now, std::span<const std::uint8_t> bytes) {
  state_->feed(now, bytes);
}

bool FaultStage::take(LinkTime now, Emission& emission) {
  State& state = *state_;
  if (state.queue.empty()) return false;
  const LinkTime due = state.dueOfFirst();
  if (due > now) return false;
  state.firstBegan = state.beginOfFirst();
  state.pieceLast = due;
  const std::size_t piece = state.nextPiece();
  const std::size_t begin = std::exchange(state.leftOfFirst, state.leftOfFirst + piece);
  state.queuedBytes -= piece;
  const Unit* unit = &state.queue.front();
  if (state.leftOfFirst == unit->bytes.size()) {
    state.given = std::move(state.queue.front());
    unit = &state.given;
    state.queue.pop_front();
    state.leftOfFirst = 0;
    state.left = due;
  }
  emission.kind = unit->kind;
  emission.bytes = std::span(unit->bytes).subspan(begin, piece);
  emission.note = begin == 0 ? std::string_view(unit->note) : std::string_view();
  emission.isAltered = unit->isAltered;
  return true;
}

std::optional<LinkTime> FaultStage::nextDue() const {
  if (state_->queue.empty()) return std::nullopt;
  return state_->dueOfFirst();
}

std::size_t FaultStage::waitingBytes() const { return state_->queuedBytes + state_->heldBytes; }

void FaultStage::finish(LinkTime now) {
  state_->fedLast = now;
  if (!state_->isEnded) state_->releaseHeld();
}

void FaultStage::restart() {
  State& state = *state_;
  state.cutter.finish();
  state.heldBytes = 0;
  state.queue.clear();
  state.queuedBytes = 0;
  state.leftOfFirst = 0;
  state.left.reset();
  state.stalledUntil = {};
  state.isEnded = false;
  for (ActiveFault& active : state.faults) active.passedBytes = 0;
}

}  // namespace varno
