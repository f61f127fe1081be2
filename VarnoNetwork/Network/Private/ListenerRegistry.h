#pragma once

#include <VarnoNetwork/Network/HudPacketFilter.h>
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
// - The listener lock is held by registration, removal and delivery for their whole run, while a
//   delivery waits for the main thread, too. It is recursive: a listener on the delivering thread
//   comes back in.
// - The data lock is held for moments, never while a listener runs or is destroyed, so the listener
//   map can be read and replaced at any time.
// Members are changed under both and may be read under either. So one who replaces the map under
// the data lock alone leaves the new members in `pending_`, from where the next to hold both locks
// takes them over.
class ListenerRegistry {
 public:
  class Delivery;

  // The listeners of the type; made where it is new. Their address never changes.
  PacketListeners& listenersOf(PacketType type);

  // The same, but null where the type is new.
  const PacketListeners* find(PacketType type) const;

  // Adds the listener for the types in the table that the filter accepts.
  void add(const Listener& listener, const PacketTable& table, const HudPacketFilter& filter);

  // Removes the listener from the types in the table.
  void remove(const Listener& listener, const PacketTable& table);

  ListenerMap map() const;
  void setMap(const ListenerMap& map);

  // Releases all listeners while the registry is still whole, since their destructors may use it.
  // From then on it takes no new ones.
  void close() noexcept;

 private:
  // Holds the listener lock. What left the sets meanwhile is released after the outermost turn,
  // without the lock: no delivery is left that may be calling it, and its destructor may use the
  // registry.
  class Turn {
   public:
    explicit Turn(ListenerRegistry& registry) : registry_(registry) {
      registry_.listenerLock_.lock();
      ++registry_.depth_;
    }
    // For one who has the lock and gives it away.
    Turn(ListenerRegistry& registry, std::adopt_lock_t) : registry_(registry) {
      ++registry_.depth_;
    }
    ~Turn() {
      const bool isOutermost = --registry_.depth_ == 0;
      if (isOutermost && !registry_.departed_.empty()) {
        registry_.unlockAndRelease();
      } else {
        registry_.listenerLock_.unlock();
      }
      if (isOutermost) registry_.settle();
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

   private:
    ListenerRegistry& registry_;
  };

  bool hasPending() const noexcept { return hasPending_.load(std::memory_order_acquire); }

  // Takes pending members over, unless another thread has the listener lock: it does so when its
  // turn ends.
  void settle() {
    if (hasPending()) settlePending();
  }
  void settlePending();

  // Under both locks.
  void takePending() noexcept;

  void unlockAndRelease() noexcept;

  std::recursive_mutex listenerLock_;  // guards the following two, and `members` as said above
  std::size_t depth_ = 0;              // turns, one inside the other
  std::list<Listeners> departed_;      // left the sets during the present turns

  mutable std::mutex dataLock_;  // guards what follows
  std::deque<PacketListeners> all_;
  std::list<Listeners> pending_;  // the members to be, in the order of `all_`
  std::atomic<bool> hasPending_ = false;
  bool isClosed_ = false;
};

// Delivers packets while it lives; holds the listener lock.
class ListenerRegistry::Delivery {
 public:
  explicit Delivery(ListenerRegistry& registry) : registry_(registry), turn_(registry) {
    registry.settle();
  }

  // Calls each listener on the main thread; false where there is none. The caller keeps the packet
  // alive, by a pointer that no listener can reach.
  bool deliver(const PacketListeners& listeners, const std::shared_ptr<HudPacket>& packet);

 private:
  ListenerRegistry& registry_;
  const Turn turn_;
};

}  // namespace varno
