#pragma once

#include <VarnoNetwork/Network/HudPacket.h>

#include <bit>
#include <concepts>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>

namespace varno::fuzz {

// A packet's fields as one text, a field a line: the same text for the same fields, bit by bit.
class FieldText : private FieldVisitor {
 public:
  // Absent strings show as `absent`; the wire does not tell them from empty ones.
  static std::string of(const HudPacket& packet, std::string_view absent) {
    FieldText text(absent);
    packet.visitFields(text);
    return text.text_;
  }

 private:
  explicit FieldText(std::string_view absent) : absent_(absent) {}

  void visit(const FieldInfo& field, const bool& value) override { add(field, value); }
  void visit(const FieldInfo& field, const std::uint8_t& value) override { add(field, value); }
  void visit(const FieldInfo& field, const std::int16_t& value) override { add(field, value); }
  void visit(const FieldInfo& field, const std::int32_t& value) override { add(field, value); }
  void visit(const FieldInfo& field, const std::int64_t& value) override { add(field, value); }
  void visit(const FieldInfo& field, const float& value) override {
    add(field, std::bit_cast<std::uint32_t>(value));
  }
  void visit(const FieldInfo& field, const double& value) override {
    add(field, std::bit_cast<std::uint64_t>(value));
  }
  void visit(const FieldInfo& field, const HudString& value) override {
    add(field, value ? std::string_view(*value) : absent_);
  }
  void visit(const FieldInfo& field, const std::set<std::string>& value) override {
    add(field, value.size());
    for (const std::string& text : value) add(field, std::string_view(text));
  }
  void beginRecord(const FieldInfo& field, std::string_view typeName) override {
    add(field, typeName);
  }
  void endRecord() override { text_ += "end\n"; }

  void add(const FieldInfo& field, std::integral auto value) {
    add(field, std::string_view(std::to_string(value)));
  }
  void add(const FieldInfo& field, std::string_view value) {
    text_.append(field.name).append(field.isOnWire ? " " : " unsent ");
    text_.append(std::to_string(value.size())).append(":").append(value).append("\n");
  }

  std::string_view absent_;
  std::string text_;
};

}  // namespace varno::fuzz
