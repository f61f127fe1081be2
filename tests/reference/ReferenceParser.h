#pragma once

#include <VarnoNetwork/VarnoNetwork.h>
#include <tests/reference/ReferenceCodec.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>

namespace varno::fuzz {

// Fills a packet from its payload with the reference codec, guided by nothing but the list of its
// fields.
class ReferenceParser : private FieldEditor {
 public:
  // Null where the payload is not usable.
  static std::shared_ptr<HudPacket> parse(PacketType type, reference::InputStream& payload) {
    std::shared_ptr<HudPacket> packet = type.make();
    ReferenceParser parser(payload);
    try {
      if (auto* version = dynamic_cast<HudVersionEventPacket*>(packet.get())) {
        parser.parseVersion(*version);
      } else {
        packet->editFields(parser);
      }
      return packet;
    } catch (const HudException&) {
      return nullptr;
    }
  }

 private:
  explicit ReferenceParser(reference::InputStream& payload) : payload_(payload) {}

  void visit(const FieldInfo& field, bool& value) override {
    if (field.isOnWire) value = payload_.readBoolean();
  }
  void visit(const FieldInfo& field, std::uint8_t& value) override {
    if (field.isOnWire) value = payload_.readByte();
  }
  void visit(const FieldInfo& field, std::int16_t& value) override {
    if (field.isOnWire) value = payload_.readShort();
  }
  void visit(const FieldInfo& field, std::int32_t& value) override {
    if (field.isOnWire) value = payload_.readInt();
  }
  void visit(const FieldInfo& field, std::int64_t& value) override {
    if (field.isOnWire) value = payload_.readLong();
  }
  void visit(const FieldInfo& field, float& value) override {
    if (field.isOnWire) value = payload_.readFloat();
  }
  void visit(const FieldInfo& field, double& value) override {
    if (field.isOnWire) value = payload_.readDouble();
  }
  void visit(const FieldInfo& field, HudString& value) override {
    if (field.isOnWire) value = payload_.readUTF();
  }
  void visit(const FieldInfo& field, std::set<std::string>& value) override {
    if (!field.isOnWire) return;
    const std::int32_t count = payload_.readInt();
    for (std::int32_t at = 0; at < count; ++at) {
      const HudString text = payload_.readUTF();
      if (!text) throw InvalidArgumentException("absent string in a set");
      value.insert(*text);
    }
  }
  void beginRecord(const FieldInfo&, std::string_view) override {}
  void endRecord() override {}

  // The one payload that is not a list of fields.
  void parseVersion(HudVersionEventPacket& packet) {
    const HudString text = payload_.readUTF();
    if (!text || std::count(text->begin(), text->end(), '&') != 2) {
      throw InvalidArgumentException("not three parts");
    }
    const std::size_t first = text->find('&');
    const std::size_t second = text->find('&', first + 1);
    packet.setModelName(text->substr(0, first));
    packet.setSystemVersion(text->substr(first + 1, second - first - 1));
    packet.setBleVersion(text->substr(second + 1));
  }

  reference::InputStream& payload_;
};

}  // namespace varno::fuzz
