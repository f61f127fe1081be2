#include <VarnoNetwork/Network/HudException.h>
#include <VarnoNetwork/Network/PacketRouter.h>

#include <cstddef>
#include <cstdint>
#include <list>
#include <mutex>

namespace varno {

struct PacketRouter::Entry {
  Role role;
  Matches matches;
  std::function<void(const HudPacket&)> handler;
  std::uint64_t number;  // rises from entry to entry
  bool isActive = true;
};

// The subscriptions, in the order in which they were made. While a packet is handed out, entries
// that end stay in the list, so that a walk never loses its place; the last walk to leave removes
// them.
struct PacketRouter::State {
  // Calls each handler of the two roles that matches, with the mutex released; says whether a typed
  // one was called.
  bool handOut(const HudPacket& packet, Role role, Role alsoRole);

  void end(Entry& entry) noexcept;

  std::mutex mutex;
  std::list<std::shared_ptr<Entry>> entries;
  std::uint64_t lastNumber = 0;
  std::size_t walks = 0;

 private:
  // One pass through the list; begins with the mutex locked and ends, however it is left, with it
  // released.
  struct Walk {
    Walk(State& walked, std::unique_lock<std::mutex>& held) : state(walked), lock(held) {
      ++state.walks;
    }
    ~Walk() {
      if (!lock.owns_lock()) lock.lock();
      --state.walks;
      ended = state.takeEnded();
      lock.unlock();
    }
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;

    State& state;
    std::unique_lock<std::mutex>& lock;
    std::list<std::shared_ptr<Entry>> ended;
  };

  // Takes the ended entries out of the list. The caller destroys them after the mutex was released:
  // what their handlers hold may use the router in its destructor.
  std::list<std::shared_ptr<Entry>> takeEnded() noexcept {
    std::list<std::shared_ptr<Entry>> ended;
    if (walks > 0) return ended;
    for (auto at = entries.begin(); at != entries.end();) {
      const auto here = at++;
      if (!(*here)->isActive) ended.splice(ended.end(), entries, here);
    }
    return ended;
  }
};

bool PacketRouter::State::handOut(const HudPacket& packet, Role role, Role alsoRole) {
  std::unique_lock lock(mutex);
  const Walk walk(*this, lock);
  const std::uint64_t last = lastNumber;
  bool isTaken = false;
  for (const std::shared_ptr<Entry>& entry : entries) {
    if (entry->number > last) break;
    if (!entry->isActive || (entry->role != role && entry->role != alsoRole)) continue;
    if (!entry->matches(packet)) continue;
    isTaken |= entry->role == Role::kTyped;
    lock.unlock();
    entry->handler(packet);
    lock.lock();
  }
  return isTaken;
}

void PacketRouter::State::end(Entry& entry) noexcept {
  std::list<std::shared_ptr<Entry>> ended;
  const std::lock_guard lock(mutex);
  entry.isActive = false;
  ended = takeEnded();
}

PacketRouter::Subscription& PacketRouter::Subscription::operator=(Subscription&& other) noexcept {
  if (this != &other) {
    end();
    state_ = std::move(other.state_);
    entry_ = std::move(other.entry_);
  }
  return *this;
}

void PacketRouter::Subscription::end() noexcept {
  const std::shared_ptr<State> state = state_.lock();
  const std::shared_ptr<Entry> entry = entry_.lock();
  if (state && entry) state->end(*entry);
  state_.reset();
  entry_.reset();
}

PacketRouter::PacketRouter() : state_(std::make_shared<State>()) {}

PacketRouter::~PacketRouter() = default;

void PacketRouter::throwNoHandler() {
  throw InvalidArgumentException("A subscription needs a handler that can be called.");
}

PacketRouter::Subscription PacketRouter::subscribe(Role role, Matches matches,
                                                   std::function<void(const HudPacket&)> handler) {
  if (!handler) throwNoHandler();
  const auto entry = std::make_shared<Entry>(Entry{role, matches, std::move(handler), 0});
  const std::lock_guard lock(state_->mutex);
  state_->entries.push_back(entry);
  entry->number = ++state_->lastNumber;
  return Subscription(state_, entry);
}

void PacketRouter::onPacketReceived(const std::shared_ptr<HudPacket>& packet) {
  // Held here as well: a handler may drop the last owner of the router, or of the packet.
  const std::shared_ptr<State> state = state_;
  // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
  const std::shared_ptr<HudPacket> kept = packet;
  if (!state->handOut(*kept, Role::kTyped, Role::kEvery)) {
    state->handOut(*kept, Role::kUntaken, Role::kUntaken);
  }
}

}  // namespace varno
