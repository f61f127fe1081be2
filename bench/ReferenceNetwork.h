#pragma once

#include <VarnoNetwork/Network/FieldVisitor.h>
#include <VarnoNetwork/Network/HudNetwork.h>
#include <tests/reference/ReferenceFields.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <utility>

// Sends and receives in the plainest way, over the byte-at-a-time streams. It gets the fields by
// forEachField, so it handles every packet type whose payload is its fields in order.
namespace varno::reference {

class Network {
 public:
  explicit Network(HudNetwork::PacketIdToClassMap types) : packetIdToClassMap_(std::move(types)) {}

  static std::vector<std::uint8_t> frameOf(const HudPacket& packet) {
    OutputStream stream;
    stream.directWrite(STX);
    stream.writeByte(packet.getCommand());
    stream.writeByte(packet.getParam1());
    stream.writeByte(packet.getParam2());
    forEachField(packet, [&](const FieldInfo& field, const auto& value) {
      if (field.isOnWire) writeValue(stream, value);
    });
    stream.directWrite(ETX);
    return stream.toNSData();
  }

  static bool sendPacket(const HudPacket& packet, IHudNetworkImpl& transport) {
    return transport.sendPacketImpl(frameOf(packet));
  }

  void registerPacketHandleDelegate(const std::shared_ptr<PacketHandleDelegate>& listener) {
    const std::lock_guard lock(mutex_);
    for (const auto& [id, type] : packetIdToClassMap_) packetListenerMap_[type].insert(listener);
  }

  void handleRawPacket(std::span<const std::uint8_t> frame) {
    InputStream stream(frame.subspan(1, frame.size() - 2));
    const std::uint8_t command = stream.readByte();
    const std::uint8_t param1 = stream.readByte();
    const std::uint8_t param2 = stream.readByte();
    const auto type = packetIdToClassMap_.find(HudNetwork::getPacktId(command, param1, param2));
    if (type == packetIdToClassMap_.end()) return;
    const std::shared_ptr<HudPacket> packet = type->second.make();
    forEachField(*packet, [&](const FieldInfo& field, auto& value) {
      if (field.isOnWire) readValue(stream, value);
    });
    const std::lock_guard lock(mutex_);
    const auto listeners = packetListenerMap_.find(type->second);
    if (listeners == packetListenerMap_.end()) return;
    for (const auto& listener : listeners->second) listener->onPacketReceived(packet);
  }

 private:
  HudNetwork::PacketIdToClassMap packetIdToClassMap_;
  HudNetwork::PacketListenerMap packetListenerMap_;
  std::recursive_mutex mutex_;
};

}  // namespace varno::reference
