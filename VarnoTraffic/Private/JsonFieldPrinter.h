#pragma once

#include <VarnoNetwork/Network/FieldVisitor.h>
#include <VarnoTraffic/Private/FieldPrinter.h>
#include <VarnoTraffic/Private/ValueText.h>

#include <cmath>
#include <concepts>
#include <cstddef>
#include <string>
#include <string_view>
#include <type_traits>

namespace varno {

// Appends a packet's fields as the members of a JSON object.
class JsonFieldPrinter : public UniformFieldVisitor<JsonFieldPrinter, FieldVisitor> {
 public:
  JsonFieldPrinter(std::string& text, FieldPrinting printing) : text_(text), printing_(printing) {}

  template <class Value>
  void onField(const FieldInfo& field, const Value& value) {
    if (begin(field)) appendJson(value);
  }

  void beginRecord(const FieldInfo& field, std::string_view /*typeName*/) override {
    open(field, '{');
  }
  void endRecord() override { close('}'); }
  void beginList(const FieldInfo& field, const std::size_t& /*size*/) override { open(field, '['); }
  void endList() override { close(']'); }

 private:
  // Appends what stands before the value. False where no value follows.
  bool begin(const FieldInfo& field) {
    if (hidden_ > 0 || (!field.isOnWire && !printing_.showsUnsent)) return false;
    if (text_.back() != '{' && text_.back() != '[') text_ += ',';
    if (field.index == FieldInfo::kNoIndex) {
      appendJsonText(text_, field.name);
      text_ += ':';
    }
    const bool isHidden = !printing_.showsSecrets && (field.isSecret || isBehindSecret_);
    isBehindSecret_ |= field.isSecret && printing_.hidesBehindSecret;
    if (isHidden) text_.append("\"").append(kHiddenText).append("\"");
    return !isHidden;
  }
  void open(const FieldInfo& field, char mark) {
    if (begin(field)) {
      text_ += mark;
    } else {
      ++hidden_;
    }
  }
  void close(char mark) {
    if (hidden_ == 0) {
      text_ += mark;
    } else {
      --hidden_;
    }
  }

  template <class Value>
  void appendJson(const Value& value) {
    constexpr bool isReal = std::floating_point<Value>;
    constexpr bool isLong = std::integral<Value> && sizeof(Value) == 8;
    bool isQuoted = isLong;
    if constexpr (isReal) isQuoted = !std::isfinite(value);
    if (isQuoted) text_ += '"';
    appendValue(text_, value);
    if (isQuoted) text_ += '"';
  }
  void appendJson(const HudString& value) {
    if (value) return appendJsonText(text_, *value);
    text_ += "null";
  }
  void appendJson(const StringSet& value) {
    char separator = '[';
    for (const std::string& element : value) {
      text_ += separator;
      appendJsonText(text_, element);
      separator = ',';
    }
    text_ += value.empty() ? "[]" : "]";
  }

  std::string& text_;
  FieldPrinting printing_;
  std::size_t hidden_ = 0;  // records and lists around, of which nothing is shown
  bool isBehindSecret_ = false;
};

}  // namespace varno
