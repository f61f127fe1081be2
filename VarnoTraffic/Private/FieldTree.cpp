#include <VarnoTraffic/Private/FieldTree.h>

#include <VarnoNetwork/Network/FieldVisitor.h>
#include <VarnoNetwork/Network/PayloadCodec.h>
#include <VarnoTraffic/NearestName.h>
#include <VarnoTraffic/Private/ValueText.h>

#include <concepts>
#include <limits>
#include <system_error>
#include <type_traits>
#include <utility>

namespace varno {
namespace {

using Kind = FieldValue::Kind;

constexpr std::string_view kExpectedShown =
    "the value: it is a secret that was hidden when this was printed";

std::string_view foundIn(const FieldValue& value) {
  switch (value.kind) {
    case Kind::kList: return "[";
    case Kind::kRecord: return "{";
    default: return value.text;
  }
}

[[noreturn]] void throwUnexpected(const FieldValue& value, std::string expected) {
  varno::throwUnexpected(value.column, foundIn(value), std::move(expected));
}

bool isScalar(const FieldValue& value) {
  return value.kind == Kind::kWord || value.kind == Kind::kText;
}

template <class Number>
bool readWhole(std::string_view text, Number& number, int base) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  return error == std::errc() && end == text.data() + text.size();
}

void assign(const FieldValue& value, bool& field) {
  const std::string_view text = isScalar(value) ? std::string_view(value.text) : "";
  if (text != "true" && text != "false" && text != "1" && text != "0") {
    throwUnexpected(value, "true or false");
  }
  field = text == "true" || text == "1";
}

template <std::integral Integer>
requires(!std::same_as<Integer, bool>) void assign(const FieldValue& value, Integer& field) {
  using Limits = std::numeric_limits<Integer>;
  const std::string_view text = isScalar(value) ? std::string_view(value.text) : "";
  std::make_unsigned_t<Integer> bits{};
  Integer number{};
  if ((text.starts_with("0x") || text.starts_with("0X")) && readWhole(text.substr(2), bits, 16)) {
    field = static_cast<Integer>(bits);
  } else if (readWhole(text, number, 10)) {
    field = number;
  } else {
    throwUnexpected(value, "a number from " + std::to_string(Limits::min()) + " to " +
                               std::to_string(Limits::max()) + ", or its bits in hex as 0xFF");
  }
}

template <std::floating_point Real>
void assign(const FieldValue& value, Real& field) {
  Real number{};
  if (!isScalar(value) || !readReal(value.text, number)) {
    throwUnexpected(value, sizeof(Real) == 4 ? "a number that a float can hold, inf or nan"
                                             : "a number, inf or nan");
  }
  field = number;
}

bool isNull(const FieldValue& value) { return value.kind == Kind::kWord && value.text == "null"; }

void assign(const FieldValue& value, HudString& field) {
  if (!isScalar(value)) throwUnexpected(value, "a text or null");
  if (isNull(value)) {
    field.reset();
  } else {
    field = value.text;
  }
}

void assign(const FieldValue& value, StringSet& field) {
  if (value.kind != Kind::kList) throwUnexpected(value, "a set of texts, as [\"a\",\"b\"]");
  field.clear();
  for (const FieldValue& item : value.items) {
    if (item.kind == Kind::kLater) continue;
    if (!isScalar(item) || isNull(item)) throwUnexpected(item, "a text");
    if (!field.insert(item.text).second) throwUnexpected(item, "each text once");
  }
}

class FieldFiller : public UniformFieldVisitor<FieldFiller, FieldEditor> {
 public:
  FieldFiller(FieldValue& values, bool isHiddenQuoted) : isHiddenQuoted_(isHiddenQuoted) {
    levels_.push_back({.value = &values, .names = {}});
  }

  template <class Value>
  void onField(const FieldInfo& field, Value& value) {
    if (FieldValue* given = valueFor(field)) assign(*given, value);
  }

  void beginRecord(const FieldInfo& field, std::string_view /*typeName*/) override {
    if (levels_.size() > PayloadReader::kMostNesting) {
      varno::throwUnexpected(1, field.name, "fewer records in one another");
    }
    FieldValue* given = valueFor(field);
    if (given != nullptr && given->kind != Kind::kRecord) {
      throwUnexpected(*given, field.index == FieldInfo::kNoIndex
                                  ? "fields, as " + std::string(field.name) + ".field=value"
                                  : "a record, as {field=value}");
    }
    levels_.push_back({.value = given, .names = {}});
  }
  void endRecord() override {
    finish();
    levels_.pop_back();
  }

  void beginList(const FieldInfo& field, std::size_t& size) override {
    FieldValue* given = valueFor(field);
    if (given != nullptr) {
      if (given->kind != Kind::kList) throwUnexpected(*given, "a list, as [1,2]");
      size = 0;
    }
    levels_.push_back({.value = given, .names = {}});
  }
  bool wantsElement(const FieldInfo& /*list*/, std::size_t index) override {
    const FieldValue* list = levels_.back().value;
    return list != nullptr && index < list->items.size();
  }
  void endList() override { levels_.pop_back(); }

  // Every value of the innermost record has to have been asked for.
  void finish() const {
    const Level& level = levels_.back();
    if (level.value == nullptr) return;
    for (const FieldValue& item : level.value->items) {
      bool isKnown = false;
      for (const std::string_view name : level.names) isKnown |= name == item.name;
      if (isKnown) continue;
      varno::throwUnexpected(
          item.nameColumn, item.name,
          level.names.empty() ? "no field: there is none" : "a field: " + joined(level.names),
          std::string(nearestName(item.name, level.names)));
    }
  }

 private:
  // A record or list around the current field.
  struct Level {
    FieldValue* value;  // null where nothing is given for it
    std::vector<std::string_view> names;
  };

  static std::string joined(const std::vector<std::string_view>& names) {
    std::string text;
    for (const std::string_view name : names) {
      if (!text.empty()) text += ", ";
      text += name;
    }
    return text;
  }

  FieldValue* valueFor(const FieldInfo& field) {
    Level& level = levels_.back();
    FieldValue* given = nullptr;
    if (level.value != nullptr && level.value->kind == Kind::kList) {
      given = &level.value->items[field.index];
    } else {
      level.names.push_back(field.name);
      if (level.value != nullptr) given = level.value->find(field.name);
    }
    const bool mayBeHidden =
        field.isSecret && given != nullptr && given->text == kHiddenText &&
        (given->kind == Kind::kWord || (isHiddenQuoted_ && given->kind == Kind::kText));
    if (mayBeHidden) throwUnexpected(*given, std::string(kExpectedShown));
    if (given != nullptr && given->kind == Kind::kLater) return nullptr;
    return given;
  }

  bool isHiddenQuoted_;
  std::vector<Level> levels_;
};

}  // namespace

FieldValue* FieldValue::find(std::string_view field) {
  for (FieldValue& item : items) {
    if (item.name == field) return &item;
  }
  return nullptr;
}

template <class Value>
void assignValue(const FieldValue& value, Value& field) {
  assign(value, field);
}
template void assignValue(const FieldValue&, bool&);
template void assignValue(const FieldValue&, std::uint8_t&);
template void assignValue(const FieldValue&, std::int16_t&);
template void assignValue(const FieldValue&, std::int32_t&);
template void assignValue(const FieldValue&, std::int64_t&);
template void assignValue(const FieldValue&, std::uint16_t&);
template void assignValue(const FieldValue&, std::uint32_t&);
template void assignValue(const FieldValue&, std::uint64_t&);
template void assignValue(const FieldValue&, float&);
template void assignValue(const FieldValue&, double&);
template void assignValue(const FieldValue&, HudString&);
template void assignValue(const FieldValue&, StringSet&);

void fillFields(HudPacket& packet, FieldValue& values, bool isHiddenQuoted) {
  FieldFiller filler(values, isHiddenQuoted);
  packet.editFields(filler);
  filler.finish();
}

void checkRoom(const FieldValue& record, std::size_t column) {
  constexpr std::size_t kMostFields = 4096;
  if (record.items.size() >= kMostFields) throwUnexpected(column, "", "fewer fields");
}

void throwUnexpected(std::size_t column, std::string_view found, std::string expected,
                     std::string nearest) {
  constexpr std::size_t kMostFound = 40;
  throw NotationError{column, std::string(found.substr(0, kMostFound)), std::move(expected),
                      std::move(nearest)};
}

}  // namespace varno
