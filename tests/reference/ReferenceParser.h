#pragma once

#include <VarnoNetwork/VarnoNetwork.h>
#include <tests/reference/ReferenceFields.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>

namespace varno::fuzz {

// The one payload that is not a list of fields.
inline void readVersion(reference::InputStream& payload, HudVersionEventPacket& packet) {
  const HudString text = payload.readUTF();
  if (!text || std::count(text->begin(), text->end(), '&') != 2) {
    throw InvalidArgumentException("not three parts");
  }
  const std::size_t first = text->find('&');
  const std::size_t second = text->find('&', first + 1);
  packet.setModelName(text->substr(0, first));
  packet.setSystemVersion(text->substr(first + 1, second - first - 1));
  packet.setBleVersion(text->substr(second + 1));
}

// A packet from its payload, by the reference codec and nothing but the list of its fields. Null
// where the payload is not usable.
inline std::shared_ptr<HudPacket> parseByReference(PacketType type,
                                                   reference::InputStream& payload) {
  std::shared_ptr<HudPacket> packet = type.make();
  try {
    if (auto* version = dynamic_cast<HudVersionEventPacket*>(packet.get())) {
      readVersion(payload, *version);
    } else {
      forEachField(*packet, [&](const FieldInfo& field, auto& value) {
        if (field.isOnWire) reference::readValue(payload, value);
      });
    }
    return packet;
  } catch (const HudException&) {
    return nullptr;
  }
}

}  // namespace varno::fuzz
