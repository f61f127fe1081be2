#pragma once

#include <VarnoNetwork/Network/FieldReader.h>
#include <VarnoTraffic/Explanation.h>
#include <VarnoTraffic/Private/ValueText.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace varno {

// Begins the reason of a payload that is too short; the field's path and ": " follow, and then what
// was read of the field.
inline constexpr std::string_view kPayloadEnds = "payload ends inside ";

// Reads a packet's fields from a frame's body and notes for each of them a span.
class FieldExplainer : public UniformFieldVisitor<FieldExplainer, FieldEditor> {
 public:
  // stream: over `body`, behind the identifiers.
  FieldExplainer(std::span<const std::uint8_t> body, HudInputStream& stream)
      : body_(body), stream_(stream), reader_(stream) {}

  // The field spans, of which offsets count in the body.
  std::vector<FrameSpan> spans;

  // Why the reading that just threw `what` ended: a sentence. Adds the span of the field that was
  // not read to its end.
  std::string explainFailure(std::string_view what, bool isOutOfBounds);

  template <class Value>
  void onField(const FieldInfo& field, Value& value) {
    if (!field.isOnWire) return;
    start(field, sizeof(Value));
    if constexpr (std::is_same_v<Value, HudString>) type_ = Type::kText;
    if constexpr (std::is_same_v<Value, StringSet>) type_ = Type::kSet;
    reader_.visit(field, value);
    FrameSpan& span = finish();
    appendValue(span.value, value);
    if constexpr (std::is_same_v<Value, bool>) remarkBoolean(span);
    if constexpr (std::is_same_v<Value, HudString>) remarkText(span);
    if constexpr (std::is_same_v<Value, StringSet>) remarkSet(span, value.size());
  }

  void beginRecord(const FieldInfo& field, std::string_view typeName) override {
    start(field, 0);
    reader_.beginRecord(field, typeName);
  }
  void endRecord() override { reader_.endRecord(); }

  void beginList(const FieldInfo& field, std::size_t& size) override {
    if (!field.isOnWire) return reader_.beginList(field, size);
    start(field, sizeof(std::int32_t));
    reader_.beginList(field, size);
    FrameSpan& span = finish();
    const std::int32_t count = countIn(span);
    span.value = (count < 0 ? "no" : std::to_string(count)) + std::string(" elements");
    if (count < 0) span.remarks.push_back(negativeCount(count, "no elements"));
  }
  bool wantsElement(const FieldInfo& list, std::size_t index) override {
    return reader_.wantsElement(list, index);
  }
  void endList() override { reader_.endList(); }

 private:
  enum class Type : std::uint8_t { kOther, kText, kSet };

  void start(const FieldInfo& field, std::size_t size);
  FrameSpan& finish();
  static std::string negativeCount(std::int32_t count, std::string_view meaning);
  static std::int32_t countIn(const FrameSpan& span);
  static void remarkBoolean(FrameSpan& span);
  static void remarkText(FrameSpan& span);
  static void remarkSet(FrameSpan& span, std::size_t size);

  std::span<const std::uint8_t> body_;
  HudInputStream& stream_;
  FieldReader reader_;
  // The field that is being read.
  std::string path_;
  Type type_ = Type::kOther;
  std::size_t size_ = 0;
  bool isSecret_ = false;
  std::size_t begin_ = 0;
};

// The bytes without stuffing; a mark that is the last byte counts for nothing.
std::vector<std::uint8_t> unstuffed(std::span<const std::uint8_t> wire);

// "1 byte", "2 bytes".
std::string counted(std::uint64_t count, std::string_view noun);

}  // namespace varno
