#include <VarnoNetwork/Network/HudException.h>
#include <VarnoNetwork/Network/MainThread.h>
#include <VarnoNetwork/Network/Private/ListenerRegistry.h>
#include <VarnoNetwork/Network/TextFormat.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace varno {

bool ListenerRegistry::Delivery::deliver(const PacketListeners& listeners,
                                         const std::shared_ptr<HudPacket>& packet) {
  if (listeners.members.empty()) return false;
  MainThread& mainThread = MainThread::instance();
  const bool isOnMainThread = mainThread.isCurrent();
  const auto describe = [&listeners] {
    const std::size_t count = listeners.members.size();
    return formatText("%@ for %lu %@", listeners.type.name(), count,
                      count == 1 ? "listener" : "listeners");
  };
  const std::uint64_t changes = listeners.changes;
  for (std::size_t at = 0; at < listeners.members.size(); ++at) {
    PacketHandleDelegate& listener = *listeners.members[at];
    if (isOnMainThread) {
      listener.onPacketReceived(packet);
    } else {
      mainThread.runAndWait([&] { listener.onPacketReceived(packet); }, describe);
    }
    if (listeners.changes != changes || registry_.hasPending()) {
      throw CollectionMutatedException();
    }
  }
  return true;
}

PacketListeners& ListenerRegistry::listenersOf(PacketType type) {
  const std::lock_guard lock(dataLock_);
  for (PacketListeners& listeners : all_) {
    if (listeners.type == type) return listeners;
  }
  return all_.emplace_back(type);
}

const PacketListeners* ListenerRegistry::find(PacketType type) const {
  const std::lock_guard lock(dataLock_);
  for (const PacketListeners& listeners : all_) {
    if (listeners.type == type) return &listeners;
  }
  return nullptr;
}

void ListenerRegistry::add(const Listener& listener, const PacketTable& table,
                           const HudPacketFilter& filter) {
  const Turn turn(*this);
  const std::lock_guard lock(dataLock_);
  if (isClosed_) return;
  takePending();
  std::vector<PacketListeners*> joined;
  table.forEach([&](std::int32_t, PacketListeners& listeners) {
    if (!filter.accept(listeners.type)) return;
    joined.push_back(&listeners);
    // All memory is taken before the first set changes, so that a failure leaves every set as it
    // was.
    if (listeners.members.size() == listeners.members.capacity()) {
      listeners.members.reserve(2 * listeners.members.size() + 1);
    }
  });
  for (PacketListeners* listeners : joined) {
    listeners->isRegistered = true;
    Listeners& members = listeners->members;
    if (std::find(members.begin(), members.end(), listener) != members.end()) continue;
    members.push_back(listener);
    ++listeners->changes;
  }
}

void ListenerRegistry::remove(const Listener& listener, const PacketTable& table) {
  const Turn turn(*this);
  // A delivery that this thread is in the middle of may be just calling it.
  if (depth_ > 1) departed_.push_back({listener});
  const std::lock_guard lock(dataLock_);
  takePending();
  table.forEach([&](std::int32_t, PacketListeners& listeners) {
    if (std::erase(listeners.members, listener) > 0) ++listeners.changes;
  });
}

ListenerMap ListenerRegistry::map() const {
  ListenerMap map;
  const std::lock_guard lock(dataLock_);
  auto pending = pending_.begin();
  for (const PacketListeners& listeners : all_) {
    const Listeners& members = pending != pending_.end() ? *pending++ : listeners.members;
    if (listeners.isRegistered) {
      map.emplace(listeners.type, std::set<Listener>(members.begin(), members.end()));
    }
  }
  return map;
}

void ListenerRegistry::setMap(const ListenerMap& map) {
  for (const auto& [type, set] : map) listenersOf(type);
  std::list<Listeners> next;  // outlives the lock with those that are replaced before their turn
  {
    const std::lock_guard lock(dataLock_);
    if (isClosed_) return;
    for (const PacketListeners& listeners : all_) {
      Listeners& members = next.emplace_back();
      const auto found = map.find(listeners.type);
      if (found == map.end()) continue;
      std::copy_if(found->second.begin(), found->second.end(), std::back_inserter(members),
                   [](const Listener& listener) { return listener != nullptr; });
    }
    // Nothing can fail any more: what fails above leaves every set as it was.
    for (PacketListeners& listeners : all_) listeners.isRegistered = map.contains(listeners.type);
    pending_.swap(next);
    hasPending_.store(true, std::memory_order_release);
  }
  settle();
}

void ListenerRegistry::close() noexcept {
  {
    const std::lock_guard lock(dataLock_);
    isClosed_ = true;
  }
  settle();
  // By index: a destructor may add a type.
  for (std::size_t at = 0; at < all_.size(); ++at) {
    Listeners released;
    const std::lock_guard lock(dataLock_);
    released.swap(all_[at].members);
  }
}

void ListenerRegistry::settlePending() {
  if (!listenerLock_.try_lock()) return;
  const Turn turn(*this, std::adopt_lock);
  const std::lock_guard lock(dataLock_);
  takePending();
}

void ListenerRegistry::takePending() noexcept {
  for (PacketListeners& listeners : all_) {
    if (pending_.empty()) break;
    listeners.members.swap(pending_.front());
    ++listeners.changes;
    departed_.splice(departed_.end(), pending_, pending_.begin());
  }
  hasPending_.store(false, std::memory_order_relaxed);
}

void ListenerRegistry::unlockAndRelease() noexcept {
  std::list<Listeners> released;
  released.swap(departed_);
  listenerLock_.unlock();
}

}  // namespace varno
