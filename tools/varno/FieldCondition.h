#pragma once

#include <VarnoNetwork/Network/HudPacket.h>
#include <VarnoTraffic/PacketDirectory.h>

#include <regex.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace varno::tool {

// What --where asks of a packet: that its field compares with the value. Numbers compare as
// numbers, booleans are true or 1, false or 0; the absent text is "null". Of a set, and of a list
// whose path names no place in it, one element has to.
class FieldCondition {
 public:
  // text: a field's path, one of = != < > <= >= ~ (an extended regular expression, found anywhere
  // in the value), and the value. Throws Failure for any other text.
  explicit FieldCondition(const std::string& text);

  // Whether a packet of the type may have the field, and the value is one that it may have.
  bool fits(const PacketDirectory::Entry& entry) const;

  bool holds(const HudPacket& packet) const;

  const std::string& path() const { return path_; }

 private:
  enum class Comparison : std::uint8_t {
    kEqual,
    kUnequal,
    kLess,
    kGreater,
    kNotGreater,
    kNotLess,
    kMatches
  };

  template <class Value>
  bool compares(const Value& value) const;
  template <class Value>
  bool isValueOf() const;
  template <class Value>
  bool orders(const Value& left, const Value& right) const;
  bool matches(std::string_view value) const;

  std::string path_;
  Comparison comparison_ = Comparison::kEqual;
  std::string value_;
  std::shared_ptr<regex_t> pattern_;
};

}  // namespace varno::tool
