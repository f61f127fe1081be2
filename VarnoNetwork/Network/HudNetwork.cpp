#include <VarnoNetwork/Network/HudInputStream.h>
#include <VarnoNetwork/Network/HudLog.h>
#include <VarnoNetwork/Network/HudNetwork.h>
#include <VarnoNetwork/Network/HudOutputStream.h>
#include <VarnoNetwork/Network/MainThread.h>
#include <VarnoNetwork/Network/PacketCatalogue.h>
#include <VarnoNetwork/Network/Private/PacketTable.h>
#include <VarnoNetwork/Network/TextFormat.h>
#include <VarnoNetwork/Network/Wire.h>

#include <algorithm>
#include <atomic>
#include <deque>
#include <exception>
#include <iterator>
#include <mutex>
#include <optional>
#include <utility>

namespace varno {
namespace {

void logSendFailure(std::string_view reason) noexcept {
  try {
    HudLog::write(formatText("sendPacket got exception : %@", reason));
  } catch (...) {
    // No memory is left for the line, and sendPacket never throws.
  }
}

// The type's identifiers; none where it has no usable ones.
std::optional<PacketIdentifiers> probe(PacketType type) {
  try {
    return type.identifiers();
  } catch (...) {
    return std::nullopt;
  }
}

}  // namespace

struct HudNetwork::State {
  // The listeners of the type; made where it is new. Their address never changes.
  PacketListeners& listenersOf(PacketType type) {
    for (PacketListeners& listeners : all) {
      if (listeners.type == type) return listeners;
    }
    return all.emplace_back(type);
  }

  void deliver(const PacketListeners& listeners, const std::shared_ptr<HudPacket>& packet);

  // Called before a listener leaves a set: a delivery under way may be just calling it.
  void keepWhileDelivering(const std::shared_ptr<PacketHandleDelegate>& listener) {
    if (deliveries > 0) departed.push_back(listener);
  }

  std::atomic<bool> dumpSendPacket = false;
  std::atomic<bool> dumpReceivePacket = false;
  PacketTable table;                          // not written once the network is in use
  mutable std::recursive_mutex listenerLock;  // guards the members of `all`, and what follows
  std::deque<PacketListeners> all;
  std::size_t deliveries = 0;                                   // under way, one inside the other
  std::vector<std::shared_ptr<PacketHandleDelegate>> departed;  // meanwhile
};

// Calls each listener on the main thread. The caller holds the listener lock.
void HudNetwork::State::deliver(const PacketListeners& listeners,
                                const std::shared_ptr<HudPacket>& packet) {
  if (listeners.members.empty()) return;
  struct Delivery {
    explicit Delivery(State& owner) : state(owner) { ++state.deliveries; }
    ~Delivery() {
      if (--state.deliveries == 0 && !state.departed.empty()) {
        // Taken out first, since a listener's destructor may use the network.
        const auto released = std::exchange(state.departed, {});
      }
    }
    State& state;
  };
  const Delivery delivery(*this);
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
    if (listeners.changes != changes) throw CollectionMutatedException();
  }
}

HudNetwork::HudNetwork() : state_(std::make_unique<State>()) { extractHudPacketClass(); }

HudNetwork::~HudNetwork() = default;

std::int32_t HudNetwork::getPacktId(std::uint8_t command, std::uint8_t parma1,
                                    std::uint8_t param2) noexcept {
  return ((command << 16) + (parma1 << 8)) | param2;
}

void HudNetwork::extractHudPacketClass() {
  const std::vector<PacketType> types = PacketCatalogue::packetTypes();
  PacketTable table(types.size());
  for (const PacketType type : types) {
    const std::optional<PacketIdentifiers> ids = probe(type);
    if (!ids) continue;
    const std::int32_t id = getPacktId(ids->command, ids->param1, ids->param2);
    if (const PacketListeners* registered = table.find(id)) {
      throw InternalInconsistencyException(
          formatText("Duplicated command[%d] param1[%d] param2[%d] %@ and %@", ids->command,
                     ids->param1, ids->param2, registered->type.name(), type.name()));
    }
    table.insert(id, state_->listenersOf(type));
  }
  state_->table = std::move(table);
}

bool HudNetwork::sendPacket(const HudPacket& packet) noexcept {
  try {
    HudOutputStream stream;
    packet.serialize(stream);
    if (dumpSendPacket()) {
      HudPacket::hexDump(formatText("SendPacket(%@)", packet.typeName()), stream.toNSData());
    }
    return sendPacketImpl(std::move(stream).toNSData());
  } catch (const std::exception& exception) {
    logSendFailure(exception.what());
  } catch (...) {
    logSendFailure("unknown exception");
  }
  return false;
}

bool HudNetwork::sendPacketImpl(std::vector<std::uint8_t> /*frame*/) { throwNotYetImplemented(); }

void HudNetwork::handleRawPacket(std::span<const std::uint8_t> frame) {
  if (dumpReceivePacket()) HudPacket::hexDump("ReceivePacket", frame);
  if (frame.size() < kShortestFrame) {
    throw InvalidArgumentException("RawPacket should be greater than 4.");
  }
  if (frame.front() != STX || frame.back() != ETX) {
    throw InvalidArgumentException("RawPacket should be contained STX and ETX.");
  }
  // Parsing ends before this call does, so the stream needs no copy of the frame.
  HudInputStream stream = HudInputStream::borrowing(frame.subspan(1, frame.size() - 2));
  const std::uint8_t command = stream.readByte();
  const std::uint8_t param1 = stream.readByte();
  const std::uint8_t param2 = stream.readByte();
  const PacketListeners* listeners = state_->table.find(getPacktId(command, param1, param2));
  if (listeners == nullptr) return;

  const std::shared_ptr<HudPacket> packet = listeners->type.parse(stream);
  if (!packet) return;
  const std::lock_guard lock(state_->listenerLock);
  state_->deliver(*listeners, packet);
}

void HudNetwork::registerPacketHandleDelegate(std::shared_ptr<PacketHandleDelegate> listener) {
  HudPacketFilter everyType;
  state_->table.forEach(
      [&](std::int32_t, const PacketListeners& listeners) { everyType.addFilter(listeners.type); });
  registerPacketHandleDelegate(std::move(listener), &everyType);
}

// By value, as the other one, which gives its own share away.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void HudNetwork::registerPacketHandleDelegate(std::shared_ptr<PacketHandleDelegate> listener,
                                              const HudPacketFilter* filter) {
  if (!listener || filter == nullptr) return;
  const std::lock_guard lock(state_->listenerLock);
  std::vector<PacketListeners*> joined;
  state_->table.forEach([&](std::int32_t, PacketListeners& listeners) {
    if (!filter->accept(listeners.type)) return;
    joined.push_back(&listeners);
    // All memory is taken before the first set changes, so that a failure leaves every set as it
    // was.
    if (listeners.members.size() == listeners.members.capacity()) {
      listeners.members.reserve(2 * listeners.members.size() + 1);
    }
  });
  for (PacketListeners* listeners : joined) {
    listeners->isRegistered = true;
    if (listeners->contains(listener)) continue;
    listeners->members.push_back(listener);
    ++listeners->changes;
  }
}

// By value: the last owner of the listener goes after the lock was released.
void HudNetwork::unregisterPacketHandleDelegate(std::shared_ptr<PacketHandleDelegate> listener) {
  const std::lock_guard lock(state_->listenerLock);
  state_->keepWhileDelivering(listener);
  state_->table.forEach([&](std::int32_t, PacketListeners& listeners) {
    if (std::erase(listeners.members, listener) > 0) ++listeners.changes;
  });
}

void HudNetwork::firePacketReceivedEvent(PacketType type,
                                         const std::shared_ptr<HudPacket>& hudPacket) {
  if (!hudPacket) return;
  const std::lock_guard lock(state_->listenerLock);
  for (const PacketListeners& listeners : state_->all) {
    if (listeners.type == type) return state_->deliver(listeners, hudPacket);
  }
}

void HudNetwork::setDumpPacket(bool dumpSendPacket, bool dumpReceivePacket) noexcept {
  setDumpSendPacket(dumpSendPacket);
  setDumpReceivePacket(dumpReceivePacket);
}

bool HudNetwork::dumpSendPacket() const noexcept {
  return state_->dumpSendPacket.load(std::memory_order_relaxed);
}

void HudNetwork::setDumpSendPacket(bool dumpSendPacket) noexcept {
  state_->dumpSendPacket.store(dumpSendPacket, std::memory_order_relaxed);
}

bool HudNetwork::dumpReceivePacket() const noexcept {
  return state_->dumpReceivePacket.load(std::memory_order_relaxed);
}

void HudNetwork::setDumpReceivePacket(bool dumpReceivePacket) noexcept {
  state_->dumpReceivePacket.store(dumpReceivePacket, std::memory_order_relaxed);
}

HudNetwork::PacketIdToClassMap HudNetwork::packetIdToClassMap() const {
  PacketIdToClassMap map;
  state_->table.forEach(
      [&](std::int32_t id, const PacketListeners& listeners) { map.emplace(id, listeners.type); });
  return map;
}

void HudNetwork::setPacketIdToClassMap(const PacketIdToClassMap& map) {
  const std::lock_guard lock(state_->listenerLock);
  PacketTable table(map.size());
  for (const auto& [id, type] : map) table.insert(id, state_->listenersOf(type));
  state_->table = std::move(table);
}

HudNetwork::PacketListenerMap HudNetwork::packetListenerMap() const {
  const std::lock_guard lock(state_->listenerLock);
  PacketListenerMap map;
  for (const PacketListeners& listeners : state_->all) {
    if (listeners.isRegistered) {
      map.emplace(listeners.type, ListenerSet(listeners.members.begin(), listeners.members.end()));
    }
  }
  return map;
}

void HudNetwork::setPacketListenerMap(const PacketListenerMap& map) {
  using Members = std::vector<std::shared_ptr<PacketHandleDelegate>>;
  std::deque<Members>
      replaced;  // outlives the lock, as do the listeners that lose their last owner
  const std::lock_guard lock(state_->listenerLock);
  // All memory is taken before the first set changes, so that a failure leaves every set as it was.
  for (const auto& [type, set] : map) state_->listenersOf(type);
  for (const PacketListeners& listeners : state_->all) {
    for (const auto& listener : listeners.members) state_->keepWhileDelivering(listener);
    Members& members = replaced.emplace_back();
    const auto found = map.find(listeners.type);
    if (found == map.end()) continue;
    std::copy_if(found->second.begin(), found->second.end(), std::back_inserter(members),
                 [](const auto& listener) { return listener != nullptr; });
  }
  auto members = replaced.begin();
  for (PacketListeners& listeners : state_->all) {
    listeners.members.swap(*members++);
    listeners.isRegistered = map.contains(listeners.type);
    ++listeners.changes;
  }
}

}  // namespace varno
