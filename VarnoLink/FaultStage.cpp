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

using Emission = FaultStage::Emission;

// How often a frame of a limited rate leaves in pieces.
constexpr std::uint64_t kPiecesPerSecond = 50;

// A piece of the stream on its way through the faults and out of the stage.
struct Portion {
  Emission::Kind kind = Emission::Kind::kBytes;
  std::vector<std::uint8_t> bytes;
  bool isFrame = false;
  bool isAltered = false;
  std::string note;
  LinkTime earliest;

  // How it leaves.
  std::uint64_t pieceBytes = 0;  // 0: all at once
  std::chrono::nanoseconds pieceGap{0};
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
  std::deque<Portion> queue;
  std::size_t queuedBytes = 0;
  std::size_t leftOfFirst = 0;   // how much of the first portion has left
  LinkTime firstBegan;           // when its first piece was due
  LinkTime pieceLast;            // when its last piece was
  std::optional<LinkTime> left;  // when the portion before it had left
  LinkTime stalledUntil;
  bool isEnded = false;  // the link was closed or reset by a fault
  Portion given;         // what the last emission shows

  void feed(LinkTime now, std::span<const std::uint8_t> bytes);
  void insert(LinkTime now, std::span<const std::uint8_t> bytes, std::string_view note);
  void push(LinkTime now, std::span<const std::uint8_t> bytes, bool isFrame,
            std::string_view note = {});
  void append(Portion portion);
  void releaseHeld();
  void settle();
  LinkTime beginOfFirst() const;
  LinkTime dueOfFirst() const;
  std::size_t nextPiece() const;

  void act(ActiveFault& active, std::vector<Portion>& portions, LinkTime now);
  bool actsOn(ActiveFault& active, const Portion& portion, LinkTime now) const;
  void apply(ActiveFault& active, Portion portion, std::vector<Portion>& portions, LinkTime now);
  void applyLimit(ActiveFault& active, Portion portion, std::vector<Portion>& portions);
  void endLink(Emission::Kind kind, const ActiveFault& active, std::vector<Portion>& portions,
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

void FaultStage::State::insert(LinkTime now, std::span<const std::uint8_t> bytes,
                               std::string_view note) {
  fedLast = now;
  FrameCutter own;
  const auto pushPiece = [&](const FrameCutter::Piece& piece) {
    if (isEnded) return;
    push(now, piece.bytes, piece.kind == RecordKind::kFrame, note);
    settle();
  };
  own.feed(bytes, pushPiece);
  if (const auto piece = own.finish()) pushPiece(*piece);
}

// Takes the bytes through the faults.
void FaultStage::State::push(LinkTime now, std::span<const std::uint8_t> bytes, bool isFrame,
                             std::string_view note) {
  std::vector<Portion> portions(1);
  portions[0].bytes.assign(bytes.begin(), bytes.end());
  portions[0].isFrame = isFrame;
  portions[0].note = note;
  portions[0].earliest = now;
  for (ActiveFault& active : faults) {
    if (active.mayAct()) act(active, portions, now);
  }
  for (Portion& portion : portions) append(std::move(portion));
}

void FaultStage::State::append(Portion portion) {
  queuedBytes += portion.bytes.size();
  queue.push_back(std::move(portion));
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

void FaultStage::State::act(ActiveFault& active, std::vector<Portion>& portions, LinkTime now) {
  std::vector<Portion> results;
  for (Portion& portion : portions) {
    if (!results.empty() && results.back().kind != Emission::Kind::kBytes) break;
    if (active.fault.kind == FaultKind::kLimit) {
      applyLimit(active, std::move(portion), results);
    } else if (actsOn(active, portion, now)) {
      apply(active, std::move(portion), results, now);
    } else {
      results.push_back(std::move(portion));
    }
  }
  portions = std::move(results);
}

bool FaultStage::State::actsOn(ActiveFault& active, const Portion& portion, LinkTime now) const {
  if (!portion.isFrame) return false;
  const Fault& fault = active.fault;
  const std::size_t size = portion.bytes.size();
  const bool isPossible = (fault.kind != FaultKind::kCorrupt || fault.byte.value_or(0) < size) &&
                          (fault.kind != FaultKind::kTear || fault.bytes.value_or(1) < size) &&
                          (fault.kind != FaultKind::kStall || now >= stalledUntil);
  return isPossible && active.takesChance();
}

void FaultStage::State::apply(ActiveFault& active, Portion portion, std::vector<Portion>& portions,
                              LinkTime now) {
  Fault deed = active.deed();
  SeededRandom& random = active.random;
  switch (deed.kind) {
    case FaultKind::kLatency: {
      const auto jitter =
          static_cast<std::uint64_t>(deed.jitter.value_or(std::chrono::nanoseconds(0)).count());
      const std::chrono::nanoseconds shift(static_cast<std::int64_t>(random.below(2 * jitter + 1)) -
                                           static_cast<std::int64_t>(jitter));
      deed.delay = std::max(*deed.delay + shift, std::chrono::nanoseconds(0));
      deed.jitter.reset();
      portion.earliest += *deed.delay;
      break;
    }
    case FaultKind::kBandwidth:
      portion.rate = portion.rate == 0 ? *deed.rate : std::min(portion.rate, *deed.rate);
      break;
    case FaultKind::kSlicer:
      portion.pieceBytes = *deed.size;
      portion.pieceGap = deed.delay.value_or(std::chrono::nanoseconds(0));
      break;
    case FaultKind::kStall:
      stalledUntil = now + *deed.duration;
      portion.earliest = std::max(portion.earliest, stalledUntil);
      break;
    case FaultKind::kDrop:
      portion.note += portion.note.empty() ? "" : ", ";
      portion.note += "drop, a frame of " + std::to_string(portion.bytes.size()) + " bytes";
      portion.bytes.clear();
      portion.isFrame = false;
      portion.isAltered = true;
      portions.push_back(std::move(portion));
      return;
    case FaultKind::kDuplicate:
      portions.push_back(portion);
      portion.isAltered = true;
      break;
    case FaultKind::kCorrupt:
      deed.byte = deed.byte ? *deed.byte : random.below(portion.bytes.size());
      deed.bit = deed.bit ? *deed.bit : random.below(8);
      portion.bytes[*deed.byte] ^= static_cast<std::uint8_t>(1U << *deed.bit);
      portion.isAltered = true;
      break;
    case FaultKind::kTear:
      deed.bytes = deed.bytes ? *deed.bytes : 1 + random.below(portion.bytes.size() - 1);
      portion.bytes.resize(*deed.bytes);
      portion.isAltered = true;
      break;
    case FaultKind::kNoise: {
      Portion noise;
      noise.earliest = portion.earliest;
      noise.isAltered = true;
      noise.addNote(deed);
      while (noise.bytes.size() < *deed.bytes) {
        const auto byte = static_cast<std::uint8_t>(random.next() >> 56);
        if (byte != STX) noise.bytes.push_back(byte);
      }
      portions.push_back(std::move(noise));
      portions.push_back(std::move(portion));
      return;
    }
    case FaultKind::kLimit: return;  // see applyLimit
    case FaultKind::kReset:
      return endLink(Emission::Kind::kReset, active, portions, portion.earliest);
  }
  portion.addNote(deed);
  portions.push_back(std::move(portion));
}

void FaultStage::State::applyLimit(ActiveFault& active, Portion portion,
                                   std::vector<Portion>& portions) {
  const std::uint64_t room = *active.fault.bytes - active.passedBytes;
  active.passedBytes += portion.bytes.size();
  const LinkTime earliest = portion.earliest;
  const bool isReached = portion.bytes.size() >= room;
  if (isReached) active.passedBytes = 0;
  const bool acts = isReached && active.takesChance();
  if (acts && portion.bytes.size() > room) {
    portion.bytes.resize(room);
    portion.isAltered = true;
  }
  portions.push_back(std::move(portion));
  if (acts) endLink(Emission::Kind::kClose, active, portions, earliest);
}

void FaultStage::State::endLink(Emission::Kind kind, const ActiveFault& active,
                                std::vector<Portion>& portions, LinkTime earliest) {
  Portion end;
  end.kind = kind;
  end.earliest = earliest;
  end.isAltered = true;
  end.addNote(active.deed());
  portions.push_back(std::move(end));
  isEnded = true;
}

// How much of the first portion leaves next.
std::size_t FaultStage::State::nextPiece() const {
  const Portion& first = queue.front();
  const std::size_t rest = first.bytes.size() - leftOfFirst;
  std::uint64_t piece = first.pieceBytes;
  if (piece == 0) piece = first.rate > 0 ? first.rate / kPiecesPerSecond + 1 : rest;
  return static_cast<std::size_t>(std::min<std::uint64_t>(piece, rest));
}

LinkTime FaultStage::State::beginOfFirst() const {
  if (leftOfFirst > 0) return firstBegan;
  const Portion& first = queue.front();
  return left ? std::max(first.earliest, *left + first.pieceGap) : first.earliest;
}

LinkTime FaultStage::State::dueOfFirst() const {
  const Portion& first = queue.front();
  const LinkTime begin = beginOfFirst();
  const LinkTime due = leftOfFirst == 0 ? begin : pieceLast + first.pieceGap;
  if (first.rate == 0) return due;
  // From the portion's beginning on, so that no rounding adds up.
  const std::uint64_t onLine = (leftOfFirst + nextPiece()) * std::nano::den / first.rate;
  return std::max(due, begin + std::chrono::nanoseconds(static_cast<std::int64_t>(onLine)));
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

void FaultStage::insert(LinkTime now, std::span<const std::uint8_t> bytes, std::string_view note) {
  state_->insert(now, bytes, note);
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
  const Portion* portion = &state.queue.front();
  if (state.leftOfFirst == portion->bytes.size()) {
    state.given = std::move(state.queue.front());
    portion = &state.given;
    state.queue.pop_front();
    state.leftOfFirst = 0;
    state.left = due;
  }
  emission.kind = portion->kind;
  emission.bytes = std::span(portion->bytes).subspan(begin, piece);
  emission.note = begin == 0 ? std::string_view(portion->note) : std::string_view();
  emission.isAltered = portion->isAltered;
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
