#include <VarnoNetwork/Network/FieldVisitor.h>
#include <VarnoNetwork/Network/HudLog.h>
#include <VarnoNetwork/Network/HudPacket.h>

#include <type_traits>
#include <vector>

// Descriptions of packets, made from their lists of fields.

namespace varno {
namespace {

constexpr std::size_t kMostElements = 5;

class Description : public UniformFieldVisitor<Description, FieldVisitor> {
 public:
  static std::string of(const HudPacket& packet, bool hidesSecrets) {
    Description description(packet.fieldSeparator(), hidesSecrets);
    description.open(packet.typeName());
    packet.visitFields(description);
    description.close();
    return std::move(description.text_);
  }

  template <class Value>
  void onField(const FieldInfo& field, const Value& value) {
    if (begin(field)) append(value);
  }

  void beginRecord(const FieldInfo& field, std::string_view typeName) override {
    beginParts(field, typeName);
  }
  void endRecord() override { endParts(); }
  void beginList(const FieldInfo& field, const std::size_t& /*size*/) override {
    beginParts(field, {});
  }
  void endList() override { endParts(); }

 private:
  Description(std::string_view separator, bool hidesSecrets)
      : separator_(separator), hidesSecrets_(hidesSecrets) {}

  void open(std::string_view typeName) {
    text_.append(typeName) += '[';
    partsBefore_.push_back(0);
  }
  void close() {
    text_ += ']';
    partsBefore_.pop_back();
  }

  // Writes what stands before the field's value; says whether the value follows.
  bool begin(const FieldInfo& field) {
    if (hiddenDepth_ > 0) return false;
    const std::size_t before = partsBefore_.back()++;
    if (field.index == FieldInfo::kNoIndex) {
      if (before > 0) text_ += separator_;
      text_.append(field.name) += " : ";
    } else if (!beginElement(before)) {
      return false;
    }
    if (hidesSecrets_ && field.isSecret) {
      text_ += "***";
      return false;
    }
    if (field.isAbsent) {
      text_ += "(null)";
      return false;
    }
    return true;
  }

  bool beginElement(std::size_t before) {
    if (before > kMostElements) return false;
    if (before > 0) text_ += ", ";
    if (before == kMostElements) text_ += "...";
    return before < kMostElements;
  }

  void beginParts(const FieldInfo& field, std::string_view typeName) {
    if (begin(field)) {
      open(typeName);
    } else {
      ++hiddenDepth_;
    }
  }
  void endParts() {
    if (hiddenDepth_ > 0) {
      --hiddenDepth_;
    } else {
      close();
    }
  }

  template <class Value>
  void append(const Value& value) {
    if constexpr (std::is_same_v<Value, bool>) {
      text_ += value ? '1' : '0';
    } else if constexpr (std::is_integral_v<Value>) {
      text_ += std::to_string(value);
    } else if constexpr (std::is_floating_point_v<Value>) {
      text_ += formatText("%f", value);
    } else if constexpr (std::is_same_v<Value, HudString>) {
      text_.append(value ? std::string_view(*value) : "(null)");
    } else {
      text_ += '[';
      std::size_t before = 0;
      for (auto text = value.begin(); text != value.end() && before <= kMostElements; ++text) {
        if (beginElement(before++)) text_ += *text;
      }
      text_ += ']';
    }
  }

  std::string text_;
  std::string_view separator_;
  bool hidesSecrets_;
  std::vector<std::size_t> partsBefore_;  // of the packet and of each record or list around
  std::size_t hiddenDepth_ = 0;           // records and lists around that are not shown
};

}  // namespace

std::string HudPacket::description() const { return Description::of(*this, false); }
std::string_view HudPacket::fieldSeparator() const { return " "; }

std::string loggable(const HudPacket& packet) {
  bool hasSecret = false;
  forEachField(packet, [&](const FieldInfo& field, const auto&) { hasSecret |= field.isSecret; });
  return HudLog::printableLine(hasSecret ? Description::of(packet, true) : packet.description());
}

}  // namespace varno
