#include <VarnoNetwork/Network/HudException.h>
#include <VarnoNetwork/Network/Private/ListenerRegistry.h>
#include <VarnoNetwork/Network/TextFormat.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace varno {

void ListenerRegistry::Delivery::handOver(const ListenerRegistry& registry, MainThread& mainThread,
                                          const PacketListeners& listeners,
                                          const std::shared_ptr<HudPacket>& packet) {
  const auto describe = [&listeners] {
    const std::size_t count = listeners.members.size();
    return formatText("%@ for %lu %@", listeners.type.name(), count,
                      count == 1 ? "listener" : "listeners");
  };
  callEach(registry, listeners, [&](PacketHandleDelegate& listener) {
    mainThread.runAndWait([&] { listener.onPacketReceived(packet); }, describe);
  });
}

void ListenerRegistry::throwIfChanged(const PacketListeners& listeners,
                                      std::uint64_t changes) const {
  const std::lock_guard lock(dataLock_);
  if (listeners.changes != changes || hasPending_) throw CollectionMutatedException();
}

bool ListenerRegistry::isMember(const PacketListeners& listeners, const Listener& listener) {
  const std::lock_guard lock(dataLock_);
  takePending();
  const Listeners& members = listeners.members;
  return std::find(members.begin(), members.end(), listener) != members.end();
}

PacketListeners* ListenerRegistry::addType(PacketType type) {
  if (find(type) != nullptr) return nullptr;
  const std::lock_guard lock(dataLock_);
  return &all_.emplace_back(type);
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
    // All memory is allocated before the first set changes, so a failure leaves every set as it
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
  const std::lock_guard lock(dataLock_);
  takePending();
  if (depth_ > 1) {  // this thread is inside a delivery, which may be calling it
    departed_.push_back({listener});
    isUnsettled_.store(true, std::memory_order_release);
  }
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
  std::list<Listeners> next;  // declared before the lock: destroys replaced listeners after it
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
    // Nothing below throws, so a failure leaves every set as it was.
    for (PacketListeners& listeners : all_) listeners.isRegistered = map.contains(listeners.type);
    pending_.swap(next);
    hasPending_ = true;
    isUnsettled_.store(true, std::memory_order_release);
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
  // NOLINTNEXTLINE(modernize-loop-convert)
  for (std::size_t at = 0; at < all_.size(); ++at) {
    Listeners released;
    const std::lock_guard lock(dataLock_);
    released.swap(all_[at].members);
  }
}

void ListenerRegistry::settle() noexcept {
  // Once more if the map was replaced while this thread had the lock.
  for (bool isOutermost = true; isOutermost && isUnsettled();) {
    std::list<Listeners> released;
    if (!listenerLock_.try_lock()) return;
    {
      const std::lock_guard lock(dataLock_);
      takePending();
      isOutermost = depth_ == 0;
      if (isOutermost) {
        released.swap(departed_);
        isUnsettled_.store(false, std::memory_order_relaxed);
      }
    }
    listenerLock_.unlock();
  }
}

void ListenerRegistry::takePending() noexcept {
  for (PacketListeners& listeners : all_) {
    if (pending_.empty()) break;
    listeners.members.swap(pending_.front());
    ++listeners.changes;
    departed_.splice(departed_.end(), pending_, pending_.begin());
  }
  hasPending_ = false;
}

}  // namespace varno
