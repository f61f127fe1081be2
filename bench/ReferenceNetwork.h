#pragma once

#include <VarnoNetwork/Network/FieldVisitor.h>
#include <VarnoNetwork/Network/HudNetwork.h>
#include <tests/reference/ReferenceCodec.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>

// Sending and receiving as plainly as they can be said, over the byte-at-a-time streams. The fields
// come by FieldVisitor, so it knows every packet type whose payload is its fields in order.
namespace varno::reference {

class FieldWriter : public FieldVisitor {
 public:
  explicit FieldWriter(OutputStream& stream) : stream_(stream) {}

  void visit(const FieldInfo&, const bool& value) override { stream_.writeBoolean(value); }
  void visit(const FieldInfo&, const std::uint8_t& value) override { stream_.writeByte(value); }
  void visit(const FieldInfo&, const std::int16_t& value) override { stream_.writeShort(value); }
  void visit(const FieldInfo&, const std::int32_t& value) override { stream_.writeInt(value); }
  void visit(const FieldInfo&, const std::int64_t& value) override { stream_.writeLong(value); }
  void visit(const FieldInfo&, const float& value) override { stream_.writeFloat(value); }
  void visit(const FieldInfo&, const double& value) override { stream_.writeDouble(value); }
  void visit(const FieldInfo& field, const HudString& value) override {
    if (field.isOnWire) stream_.writeUTF(value);
  }
  void visit(const FieldInfo&, const std::set<std::string>& value) override {
    stream_.writeInt(static_cast<std::int32_t>(value.size()));
    for (const std::string& text : value) stream_.writeUTF(text);
  }
  void beginRecord(const FieldInfo&, std::string_view) override {}
  void endRecord() override {}

 private:
  OutputStream& stream_;
};

class FieldReader : public FieldEditor {
 public:
  explicit FieldReader(InputStream& stream) : stream_(stream) {}

  void visit(const FieldInfo&, bool& value) override { value = stream_.readBoolean(); }
  void visit(const FieldInfo&, std::uint8_t& value) override { value = stream_.readByte(); }
  void visit(const FieldInfo&, std::int16_t& value) override { value = stream_.readShort(); }
  void visit(const FieldInfo&, std::int32_t& value) override { value = stream_.readInt(); }
  void visit(const FieldInfo&, std::int64_t& value) override { value = stream_.readLong(); }
  void visit(const FieldInfo&, float& value) override { value = stream_.readFloat(); }
  void visit(const FieldInfo&, double& value) override { value = stream_.readDouble(); }
  void visit(const FieldInfo& field, HudString& value) override {
    if (field.isOnWire) value = stream_.readUTF();
  }
  void visit(const FieldInfo&, std::set<std::string>& value) override {
    value.clear();
    for (std::int32_t left = stream_.readInt(); left > 0; --left) {
      value.insert(stream_.readUTF().value());
    }
  }
  void beginRecord(const FieldInfo&, std::string_view) override {}
  void endRecord() override {}

 private:
  InputStream& stream_;
};

class Network {
 public:
  explicit Network(HudNetwork::PacketIdToClassMap types) : packetIdToClassMap_(std::move(types)) {}

  static std::vector<std::uint8_t> frameOf(const HudPacket& packet) {
    OutputStream stream;
    stream.directWrite(STX);
    stream.writeByte(packet.getCommand());
    stream.writeByte(packet.getParam1());
    stream.writeByte(packet.getParam2());
    FieldWriter writer(stream);
    packet.visitFields(writer);
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
    FieldReader reader(stream);
    packet->editFields(reader);
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
