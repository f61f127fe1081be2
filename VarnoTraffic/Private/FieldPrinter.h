#pragma once

#include <VarnoNetwork/Network/FieldVisitor.h>
#include <VarnoNetwork/Network/HudPacket.h>
#include <VarnoTraffic/Private/ValueText.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace varno {

// Which fields of a packet are printed, and how.
struct FieldPrinting {
  bool showsSecrets = false;
  bool showsUnsent = true;
  // Whether nothing behind the first secret is shown either: what is read from a frame that is not
  // sound may hold a part of it.
  bool hidesBehindSecret = false;
};

// Appends " name=value" for each field: the one-line notation of a packet behind its type's name.
class FieldPrinter : public UniformFieldVisitor<FieldPrinter, FieldVisitor> {
 public:
  FieldPrinter(std::string& text, FieldPrinting printing) : text_(text), printing_(printing) {}

  template <class Value>
  void onField(const FieldInfo& field, const Value& value) {
    if (!begin(field)) return;
    appendValue(text_, value);
  }

  // The fields of a record are dotted; those of one that is an element stand in braces.
  void beginRecord(const FieldInfo& field, std::string_view /*typeName*/) override {
    levels_.push_back({prefix_.size(), start_, isFirst_, inList_});
    if (inList_) {
      separate();
      if (isShown()) text_ += '{';
      start_ = prefix_.size();
      isFirst_ = true;
      inList_ = false;
    } else {
      prefix_.append(field.name).append(".");
    }
  }
  void endRecord() override {
    const Level level = levels_.back();
    levels_.pop_back();
    if (level.inList && isShown()) text_ += '}';
    prefix_.resize(level.prefix);
    if (level.inList) isFirst_ = false;
    start_ = level.start;
    inList_ = level.inList;
  }

  void beginList(const FieldInfo& field, const std::size_t& /*size*/) override {
    const bool isShown = begin(field);
    levels_.push_back({prefix_.size(), start_, isFirst_, inList_});
    if (isShown) {
      text_ += '[';
    } else {
      ++hidden_;
    }
    isFirst_ = true;
    inList_ = true;
  }
  void endList() override {
    const Level level = levels_.back();
    levels_.pop_back();
    if (isShown()) {
      text_ += ']';
    } else {
      --hidden_;
    }
    isFirst_ = level.isFirst;
    start_ = level.start;
    inList_ = level.inList;
  }

 private:
  struct Level {
    std::size_t prefix;
    std::size_t start;
    bool isFirst;
    bool inList;
  };

  bool isShown() const { return hidden_ == 0; }

  void separate() {
    if (isShown() && !isFirst_) text_ += inList_ ? ',' : ' ';
    isFirst_ = false;
  }

  // Appends what stands before the value. False where no value follows.
  bool begin(const FieldInfo& field) {
    if (!isShown() || (!field.isOnWire && !printing_.showsUnsent)) return false;
    separate();
    if (!inList_) text_.append(prefix_, start_).append(field.name).append("=");
    const bool isHidden = !printing_.showsSecrets && (field.isSecret || isBehindSecret_);
    isBehindSecret_ |= field.isSecret && printing_.hidesBehindSecret;
    if (isHidden) text_ += kHiddenText;
    return !isHidden;
  }

  std::string& text_;
  FieldPrinting printing_;
  std::string prefix_;     // of the names: "soundDevice."
  std::size_t start_ = 0;  // of its part that is printed: names in braces are those inside
  bool isFirst_ = false;   // of the fields or elements of a record or list in braces or brackets
  bool inList_ = false;
  std::size_t hidden_ = 0;  // lists around, of which nothing is shown
  bool isBehindSecret_ = false;
  std::vector<Level> levels_;
};

// The fields' text alone, secrets included; empty where there are none.
inline std::string fieldsText(const HudPacket& packet) {
  std::string text;
  FieldPrinter printer(text, {.showsSecrets = true});
  packet.visitFields(printer);
  return text.empty() ? text : text.substr(1);
}

}  // namespace varno
