#include <VarnoTraffic/PacketComparison.h>

#include <VarnoNetwork/Network/FieldVisitor.h>

#include <bit>
#include <concepts>
#include <string>
#include <typeinfo>

namespace varno {
namespace {

// A text that is the same for the same values alone.
class Fingerprint : public UniformFieldVisitor<Fingerprint, FieldVisitor> {
 public:
  template <class Value>
  void onField(const FieldInfo& field, const Value& value) {
    append(field.path());
    add(value);
  }

  void beginList(const FieldInfo& field, const std::size_t& size) override {
    append(field.path());
    add(size);
  }

  const std::string& text() const { return text_; }

 private:
  void append(const std::string& text) {
    text_.append(std::to_string(text.size())).append(":").append(text);
  }

  void add(std::integral auto value) { append(std::to_string(value)); }
  void add(float value) { add(std::bit_cast<std::uint32_t>(value)); }
  void add(double value) { add(std::bit_cast<std::uint64_t>(value)); }
  void add(const HudString& value) {
    if (value) {
      append(*value);
    } else {
      text_ += '-';
    }
  }
  void add(const StringSet& values) {
    add(values.size());
    for (const std::string& value : values) append(value);
  }

  std::string text_;
};

std::string fingerprintOf(const HudPacket& packet) {
  Fingerprint fingerprint;
  packet.visitFields(fingerprint);
  return fingerprint.text();
}

}  // namespace

bool operator==(const HudPacket& left, const HudPacket& right) {
  return typeid(left) == typeid(right) && fingerprintOf(left) == fingerprintOf(right);
}

}  // namespace varno
