#pragma once

#include <VarnoNetwork/Network/HudPacketFilter.h>
#include <VarnoNetwork/Network/MainThread.h>
#include <VarnoNetwork/Network/PacketHandleDelegate.h>
#include <VarnoNetwork/Network/PacketType.h>
#include <VarnoNetwork/Network/Private/PacketTable.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <vector>

namespace varno {

using Listener = std::shared_ptr<PacketHandleDelegate>;
using Listeners = std::vector<Listener>;
using ListenerMap = std::map<PacketType, std::set<Listener>>;

// The listeners of one packet type: a set, in the order of registration.
struct PacketListeners {
  explicit PacketListeners(PacketType packetType) : type(packetType) {}

  const PacketType type;
  Listeners members;
  bool isRegistered = false;  // whether a listener was ever registered for the type
  std::uint64_t changes = 0;  // counts the changes of `members`
};

// Who listens to which packet type, and the delivery to them. Two locks:
// - The listener lock is held by registration, removal and delivery for their whole run, also while
//   a delivery waits for the main thread. It is recursive: a listener on the delivering thread may
//   call the registry again.
// - The data lock is held only briefly, never while a listener runs or is destroyed, so the
//   listener map can be read and replaced at any time.
// `members` is changed under both locks and may be read under either. setMap takes only the data
// lock, so it leaves the new members in `pending_`; the next thread that holds both locks takes
// them over.
class ListenerRegistry {
 public:
  class Delivery;

  // Adds a type that is new, while the network is constructed; null if it is known already.
  PacketListeners* addType(PacketType type);

  // The listeners of the type; created if the type is new. Their address never changes.
  PacketListeners& listenersOf(PacketType type);

  // The same, but null if the type is new.
  const PacketListeners* find(PacketType type) const;

  // Adds the listener for the types in the table that the filter accepts.
  void add(const Listener& listener, const PacketTable& table, const HudPacketFilter& filter);

  // Removes the listener from the types in the table.
  void remove(const Listener& listener, const PacketTable& table);

  ListenerMap map() const;
  void setMap(const ListenerMap& map);

  // Releases all listeners while the registry is still usable, since their destructors may use it.
  // From then on it takes no new ones.
  void close() noexcept;

 private:
  // Holds the listener lock.
  class Turn {
   public:
    explicit Turn(ListenerRegistry& registry) : registry_(registry) {
      registry_.listenerLock_.lock();
      ++registry_.depth_;
    }
    ~Turn() {
      --registry_.depth_;
      registry_.listenerLock_.unlock();
      if (registry_.isUnsettled()) registry_.settle();
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

   private:
    ListenerRegistry& registry_;
  };

  bool isUnsettled() const noexcept { return isUnsettled_.load(std::memory_order_acquire); }

  // Takes over the pending members, and releases the listeners that left the sets: without a lock,
  // since a destructor may use the registry, and only when no delivery may still be calling them.
  // Does nothing while another thread has the listener lock; that thread does it when its turn
  // ends.
  void settle() noexcept;

  // Under both locks.
  void takePending() noexcept;

  void throwIfChanged(const PacketListeners& listeners, std::uint64_t changes) const;

  // With the listener lock held.
  bool isMember(const PacketListeners& listeners, const Listener& listener);

  std::recursive_mutex listenerLock_;  // guards the following two, and `members` as said above
  std::size_t depth_ = 0;              // nested turns
  std::list<Listeners> departed_;      // left the sets during the present turns

  mutable std::mutex dataLock_;  // guards what follows
  std::deque<PacketListeners> all_;
  std::list<Listeners> pending_;  // the members to be, in the order of `all_`
  bool hasPending_ = false;
  bool isClosed_ = false;
  // Whether members are pending or some have departed. Written under the data lock.
  std::atomic<bool> isUnsettled_ = false;
};

// Delivers packets while it lives; holds the listener lock.
class ListenerRegistry::Delivery {
 public:
  explicit Delivery(ListenerRegistry& registry) : registry_(registry), turn_(registry) {
    if (registry.isUnsettled()) registry.settle();
  }

  // Calls each listener on the main thread; false if there is none. The caller keeps the packet
  // alive by a pointer that no listener can reset.
  bool deliver(const PacketListeners& listeners, const std::shared_ptr<HudPacket>& packet) {
    if (listeners.members.empty()) return false;
    MainThread& mainThread = MainThread::instance();
    if (mainThread.isCurrent()) {
      callEach(registry_, listeners,
               [&](PacketHandleDelegate& listener) { listener.onPacketReceived(packet); });
    } else {
      handOver(registry_, mainThread, listeners, packet);
    }
    return true;
  }

  // On the main thread: the same, whatever becomes of the listeners meanwhile. One that was removed
  // is left out; all are from when isClosed() holds.
  template <class IsClosed>
  bool deliverToPresent(const PacketListeners& listeners, const std::shared_ptr<HudPacket>& packet,
                        IsClosed isClosed) {
    const Listeners present = listeners.members;
    const std::uint64_t changes = listeners.changes;
    for (const Listener& listener : present) {
      if (isClosed()) break;
      const bool isChanged = listeners.changes != changes || registry_.isUnsettled();
      if (!isChanged || registry_.isMember(listeners, listener)) listener->onPacketReceived(packet);
    }
    return !present.empty();
  }

 private:
  template <class Call>
  static void callEach(const ListenerRegistry& registry, const PacketListeners& listeners,
                       Call call) {
    const std::uint64_t changes = listeners.changes;
    for (std::size_t at = 0; at < listeners.members.size(); ++at) {
      call(*listeners.members[at]);
      if (listeners.changes != changes || registry.isUnsettled()) {
        registry.throwIfChanged(listeners, changes);
      }
    }
  }

  static void handOver(const ListenerRegistry& registry, MainThread& mainThread,
                       const PacketListeners& listeners, const std::shared_ptr<HudPacket>& packet);

  ListenerRegistry& registry_;
  const Turn turn_;
};

}  // namespace varno
