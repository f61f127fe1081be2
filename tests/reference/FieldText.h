#pragma once

#include <VarnoNetwork/Network/FieldVisitor.h>
#include <VarnoNetwork/Network/HudPacket.h>

#include <bit>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace varno::fuzz {

// A packet's fields as one text, a field a line: the same text for the same fields, bit by bit.
// Absent strings show as `absent`; the wire does not tell them from empty ones.
inline std::string fieldText(const HudPacket& packet, std::string_view absent) {
  std::string text;
  const auto add = [&](std::string_view value) {
    text.append(std::to_string(value.size())).append(":").append(value).append("\n");
  };
  forEachField(packet, [&](const FieldInfo& field, const auto& value) {
    using Value = std::remove_cvref_t<decltype(value)>;
    text += field.path() + (field.isOnWire ? " " : " unsent ");
    if constexpr (std::is_same_v<Value, HudString>) {
      add(value ? std::string_view(*value) : absent);
    } else if constexpr (std::is_same_v<Value, StringSet>) {
      add(std::to_string(value.size()));
      for (const std::string& element : value) add(element);
    } else if constexpr (std::is_same_v<Value, float>) {
      add(std::to_string(std::bit_cast<std::uint32_t>(value)));
    } else if constexpr (std::is_same_v<Value, double>) {
      add(std::to_string(std::bit_cast<std::uint64_t>(value)));
    } else {
      add(std::to_string(value));
    }
  });
  return text;
}

}  // namespace varno::fuzz
