#include <VarnoNetwork/Network/HudLog.h>
#include <VarnoNetwork/Network/HudNetwork.h>
#include <VarnoNetwork/Network/HudOutputStream.h>
#include <VarnoNetwork/Network/PacketCatalogue.h>
#include <VarnoNetwork/Network/Private/NetworkState.h>
#include <VarnoNetwork/Network/TextFormat.h>
#include <VarnoNetwork/Network/Wire.h>

#include <atomic>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <utility>

namespace varno {

std::optional<bool> IHudNetworkImpl::sendBorrowedFrame(std::span<const std::uint8_t> /*frame*/) {
  return std::nullopt;
}

namespace {

void logSendFailure(std::string_view reason) noexcept {
  try {
    HudLog::write(formatText("sendPacket got exception : %@", reason));
  } catch (...) {
    // No memory is left for the line, and sendPacket never throws.
  }
}

// What lies between the frame's marks.
std::span<const std::uint8_t> bodyOf(std::span<const std::uint8_t> frame) {
  if (frame.size() < kShortestFrame) {
    throw InvalidArgumentException("RawPacket should be greater than 4.");
  }
  if (frame.front() != STX || frame.back() != ETX) {
    throw InvalidArgumentException("RawPacket should be contained STX and ETX.");
  }
  return frame.subspan(1, frame.size() - 2);
}

PacketIdentifiers readIdentifiers(HudInputStream& stream) {
  return {stream.readByte(), stream.readByte(), stream.readByte()};
}

// For two classes whose types are equal. The catalogue lists each class once.
[[noreturn]] void throwAmbiguous(const PacketTable& table, PacketType type, std::int32_t id) {
  const auto named = [](PacketType one, std::int32_t its) {
    return formatText("%@ command[%d] param1[%d] param2[%d]", one.name(), its >> 16 & 0xFF,
                      its >> 8 & 0xFF, its & 0xFF);
  };
  std::string known;
  table.forEach([&](std::int32_t knownId, const PacketListeners& listeners) {
    if (listeners.type == type) known = named(listeners.type, knownId);
  });
  throw InternalInconsistencyException(
      formatText("%@ and %@ are two classes that cannot be told apart: give each a name of its own",
                 known, named(type, id)));
}

}  // namespace

OpenedFrame::OpenedFrame(std::span<const std::uint8_t> whole)
    : frame(whole),
      // Parsing ends before the frame does, so the stream needs no copy of it.
      stream(HudInputStream::borrowing(bodyOf(whole))),
      identifiers(readIdentifiers(stream)) {}

std::optional<PacketIdentifiers> HudNetwork::State::probe(PacketType type) {
  try {
    return type.identifiers();
  } catch (const std::bad_alloc&) {
    throw;  // not a fault of the type
  } catch (const std::exception& exception) {
    drops.leaveOut(type, exception.what());
  } catch (...) {
    drops.leaveOut(type, "unknown exception");
  }
  return std::nullopt;
}

void HudNetwork::State::setTypes(std::unique_ptr<const PacketTable> types) {
  const std::lock_guard lock(tablesLock);
  tables.push_back(std::move(types));
  table.store(tables.back().get(), std::memory_order_release);
}

HudNetwork::HudNetwork() : state_(std::make_shared<State>()) { extractHudPacketClass(); }

// A listener's destructor may call the network, so the listeners are released before any member is
// destroyed.
HudNetwork::~HudNetwork() {
  state_->isGone = true;
  state_->drops.close();
  state_->registry.close();
}

std::int32_t HudNetwork::getPacktId(std::uint8_t command, std::uint8_t parma1,
                                    std::uint8_t param2) noexcept {
  return ((command << 16) + (parma1 << 8)) | param2;
}

void HudNetwork::extractHudPacketClass() {
  const std::vector<PacketType> types = PacketCatalogue::packetTypes();
  auto table = std::make_unique<PacketTable>(types.size());
  for (const PacketType type : types) {
    const std::optional<PacketIdentifiers> ids = state_->probe(type);
    if (!ids) continue;
    const std::int32_t id = getPacktId(ids->command, ids->param1, ids->param2);
    if (const PacketListeners* registered = table->find(id)) {
      throw InternalInconsistencyException(
          formatText("Duplicated command[%d] param1[%d] param2[%d] %@ and %@", ids->command,
                     ids->param1, ids->param2, registered->type.name(), type.name()));
    }
    PacketListeners* const listeners = state_->registry.addType(type);
    if (listeners == nullptr) throwAmbiguous(*table, type, id);
    table->insert(id, *listeners);
  }
  state_->setTypes(std::move(table));
}

bool HudNetwork::sendPacket(const HudPacket& packet) noexcept {
  try {
    HudOutputStream stream;
    packet.serialize(stream);
    if (dumpSendPacket()) {
      HudPacket::hexDump(formatText("SendPacket(%@)", packet.typeName()), stream.view());
    }
    const std::optional<bool> answer = sendBorrowedFrame(stream.view());
    const bool isSent = answer ? *answer : sendPacketImpl(std::move(stream).toNSData());
    isSent ? state_->tallies.sent.add() : state_->tallies.notSent.add();
    return isSent;
  } catch (const std::exception& exception) {
    logSendFailure(exception.what());
  } catch (...) {
    logSendFailure("unknown exception");
  }
  state_->tallies.notSent.add();
  return false;
}

bool HudNetwork::sendPacketImpl(std::vector<std::uint8_t> /*frame*/) { throwNotYetImplemented(); }

void HudNetwork::handleRawPacket(std::span<const std::uint8_t> frame) {
  if (dumpReceivePacket()) HudPacket::hexDump("ReceivePacket", frame);
  FrameCount counts(state_->tallies.malformed);
  OpenedFrame opened(frame);
  state_->receive(opened, counts, [](auto& delivery, const auto& listeners, const auto& packet) {
    return delivery.deliver(listeners, packet);
  });
}

void HudNetwork::setDropObserver(DropObserver observer) {
  state_->drops.setObserver(std::move(observer));
}

const std::vector<PacketDrop>& HudNetwork::leftOutTypes() const noexcept {
  return state_->drops.leftOut();
}

HudNetworkCounters HudNetwork::counters() const noexcept { return state_->tallies.counters(); }

void HudNetwork::registerPacketHandleDelegate(std::shared_ptr<PacketHandleDelegate> listener) {
  HudPacketFilter everyType;
  state_->types().forEach(
      [&](std::int32_t, const PacketListeners& listeners) { everyType.addFilter(listeners.type); });
  registerPacketHandleDelegate(std::move(listener), &everyType);
}

// By value like the other overload, which moves its pointer on.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void HudNetwork::registerPacketHandleDelegate(std::shared_ptr<PacketHandleDelegate> listener,
                                              const HudPacketFilter* filter) {
  if (!listener || filter == nullptr) return;
  state_->registry.add(listener, state_->types(), *filter);
}

// By value, so that a listener which only the network owned is destroyed after the lock was
// released. NOLINTNEXTLINE(performance-unnecessary-value-param)
void HudNetwork::unregisterPacketHandleDelegate(std::shared_ptr<PacketHandleDelegate> listener) {
  state_->registry.remove(listener, state_->types());
}

void HudNetwork::firePacketReceivedEvent(PacketType type,
                                         const std::shared_ptr<HudPacket>& hudPacket) {
  if (!hudPacket) return;
  // A listener may reset the caller's pointer.
  // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
  const std::shared_ptr<HudPacket> kept = hudPacket;
  ListenerRegistry::Delivery delivery(state_->registry);
  const PacketListeners* listeners = state_->registry.find(type);
  if (listeners != nullptr) delivery.deliver(*listeners, kept);
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
  state_->types().forEach(
      [&](std::int32_t id, const PacketListeners& listeners) { map.emplace(id, listeners.type); });
  return map;
}

void HudNetwork::setPacketIdToClassMap(const PacketIdToClassMap& map) {
  auto table = std::make_unique<PacketTable>(map.size());
  for (const auto& [id, type] : map) table->insert(id, state_->registry.listenersOf(type));
  state_->setTypes(std::move(table));
}

HudNetwork::PacketListenerMap HudNetwork::packetListenerMap() const {
  return state_->registry.map();
}

void HudNetwork::setPacketListenerMap(const PacketListenerMap& map) {
  state_->registry.setMap(map);
}

}  // namespace varno
