#include <VarnoTraffic/FieldCondition.h>

#include <VarnoTraffic/NearestName.h>
#include <VarnoTraffic/Private/ConditionState.h>
#include <VarnoTraffic/Private/FieldPrinter.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <concepts>
#include <functional>
#include <type_traits>
#include <utility>
#include <vector>

namespace varno {
namespace {

// The longer ones first.
constexpr std::array<std::pair<std::string_view, Comparison>, 7> kSigns = {
    {{"!=", Comparison::kUnequal},
     {"<=", Comparison::kNotGreater},
     {">=", Comparison::kNotLess},
     {"=", Comparison::kEqual},
     {"<", Comparison::kLess},
     {">", Comparison::kGreater},
     {"~", Comparison::kMatches}}};

constexpr std::string_view kExpected = "a field, one of = != < > <= >= ~, and a value";

// A field's path without the places in lists: "wheels[2].pressure" is one of "wheels.pressure".
std::string withoutPlaces(std::string_view path) {
  std::string text;
  bool isInside = false;
  for (const char character : path) {
    if (character == '[') isInside = true;
    if (!isInside) text += character;
    if (character == ']') isInside = false;
  }
  return text;
}

// Gives each list one element, so that it can be told what its elements are.
class ListFiller : public UniformFieldVisitor<ListFiller, FieldEditor> {
 public:
  template <class Value>
  void onField(const FieldInfo&, Value&) {}
  bool wantsElement(const FieldInfo& /*list*/, std::size_t index) override { return index == 0; }
};

void listNames(const FieldValue& fields, const std::string& prefix,
               std::vector<std::string>& names) {
  for (const FieldValue& field : fields.items) {
    if (field.kind == FieldValue::Kind::kRecord) {
      listNames(field, prefix + field.name + ".", names);
    } else {
      names.push_back(prefix + field.name);
    }
  }
}

[[noreturn]] void throwUnknownField(const HudPacket& packet, const std::string& path,
                                    std::size_t column) {
  std::vector<std::string> names;
  listNames(fieldsOf(packet, false), "", names);
  std::string expected = names.empty() ? "no field: there is none" : "a field: ";
  const char* separator = "";
  for (const std::string& name : names) expected += std::exchange(separator, ", ") + name;
  const std::vector<std::string_view> views(names.begin(), names.end());
  throwUnexpected(column, path, std::move(expected), std::string(nearestName(path, views)));
}

// The value as the field of that name in a record.
FieldValue inRecord(std::string_view path, FieldValue value) {
  const std::size_t dot = path.rfind('.');
  value.name = path.substr(dot + 1);  // all of it where there is no dot
  FieldValue record;
  record.items.push_back(std::move(value));
  return dot == std::string_view::npos ? record : inRecord(path.substr(0, dot), std::move(record));
}

}  // namespace

FieldValue fieldsOf(const HudPacket& packet, bool showsSecrets) {
  std::string text;
  FieldPrinter printer(text, {.showsSecrets = showsSecrets});
  packet.visitFields(printer);
  try {
    return NotationParser(text).takeFields();
  } catch (const NotationError&) {
    return {};  // of an application's type whose fields have one name, or no plain ones
  }
}

const FieldValue* findField(const FieldValue& fields, std::string_view path) {
  const std::size_t dot = path.find('.');
  for (const FieldValue& field : fields.items) {
    if (field.name != path.substr(0, dot)) continue;
    return dot == std::string_view::npos ? &field : findField(field, path.substr(dot + 1));
  }
  return nullptr;
}

ConditionState::ConditionState(NotationParser& parser, bool isAlone) : column(parser.column()) {
  path = parser.takeUpTo("=!<>~", kExpected);
  bool isSign = false;
  for (const auto& [text, its] : kSigns) {
    if (!parser.takeSign(text)) continue;
    sign = text;
    comparison = its;
    isSign = true;
    break;
  }
  if (!isSign) throwUnexpected(parser.column(), "!", "= behind it");
  const std::size_t valueColumn = parser.offset() + 1;
  // The brackets of a regular expression make no list.
  const bool isText = isAlone || comparison == Comparison::kMatches;
  value = isText && !parser.atQuote() ? parser.takeText(isAlone) : parser.takeValue();
  if (!isAlone || value.kind == FieldValue::Kind::kText) parser.expectEndOfValue();
  const bool isWord = value.kind == FieldValue::Kind::kWord;
  if (comparison == Comparison::kEqual && isWord && value.text == "*") {
    comparison = Comparison::kPresent;
  } else if (comparison == Comparison::kEqual && isWord && value.text.starts_with('?')) {
    comparison = Comparison::kBinds;
    value.text.erase(0, 1);
    if (!isVariableName(value.text)) {
      throwUnexpected(valueColumn + 1, value.text, "a name of letters, digits and _");
    }
  } else if (comparison == Comparison::kMatches && value.kind != FieldValue::Kind::kLater) {
    if (!isWord && value.kind != FieldValue::Kind::kText) {
      throwUnexpected(valueColumn, "[", "a regular expression");
    }
    try {
      expression.emplace(value.text);
    } catch (const RegularExpression::Error& error) {
      // In quotes, escapes keep the place from being known.
      const std::size_t at = isWord && error.offset < value.text.size() ? error.offset : 0;
      throwUnexpected(valueColumn + at, value.text.substr(at),
                      std::string("in the regular expression: ") + error.what());
    }
  }
}

void ConditionState::check(const PacketDirectory::Entry& entry) {
  const auto sample = entry.type.make();
  ListFiller filler;
  sample->editFields(filler);
  if (value.kind == FieldValue::Kind::kList) {
    const FieldValue* const field = findField(fieldsOf(*sample, true), path);
    if (field == nullptr) throwUnknownField(*sample, path, column);
    if (comparison != Comparison::kEqual && comparison != Comparison::kUnequal) {
      throwUnexpected(value.column, "[", "one value");
    }
    FieldValue fields = inRecord(path, value);
    const auto wanted = entry.type.make();
    fillFields(*wanted, fields, false);
    list = writtenValue(*findField(fieldsOf(*wanted, true), path));
    isSecret = writtenValue(*findField(fieldsOf(*wanted, false), path)) != *list;
    return;
  }
  bool isKnown = false;
  const std::string plain = withoutPlaces(path);
  forEachField(std::as_const(*sample), [&]<class Value>(const FieldInfo& field, const Value&) {
    if (withoutPlaces(field.path()) != plain) return;
    isKnown = true;
    for (const FieldInfo* at = &field; at != nullptr; at = at->parent) isSecret |= at->isSecret;
    if (comparison >= Comparison::kMatches || value.kind == FieldValue::Kind::kLater) return;
    std::conditional_t<std::same_as<Value, StringSet>, HudString, Value> wanted{};
    assignValue(value, wanted);
  });
  if (isKnown) return;
  const FieldValue fields = fieldsOf(*sample, true);
  const FieldValue* const field = findField(fields, path);
  if (field == nullptr || field->kind != FieldValue::Kind::kList) {
    throwUnknownField(*sample, path, column);
  }
  if (comparison != Comparison::kPresent && comparison != Comparison::kBinds) {
    throwUnexpected(value.column, value.text, "a list, as [1,2]");
  }
}

bool ConditionState::holds(const HudPacket& packet) const {
  if (list) {
    const FieldValue fields = fieldsOf(packet, true);
    const FieldValue* const field = findField(fields, path);
    return field != nullptr &&
           (writtenValue(*field) == *list) == (comparison == Comparison::kEqual);
  }
  bool isHeld = false;
  bool isKnown = false;
  const bool isAnyPlace = path.find('[') == std::string::npos;
  forEachField(packet, [&](const FieldInfo& field, const auto& fieldValue) {
    if (isHeld || (isAnyPlace ? withoutPlaces(field.path()) : field.path()) != path) return;
    isKnown = true;
    isHeld = compares(fieldValue);
  });
  if (isKnown || comparison < Comparison::kPresent) return isHeld;
  const FieldValue fields = fieldsOf(packet, true);
  const FieldValue* const field = findField(fields, path);  // a list as a whole
  return field != nullptr && (comparison == Comparison::kBinds || !field->items.empty());
}

template <class Value>
bool ConditionState::orders(const Value& left, const Value& right) const {
  switch (comparison) {
    case Comparison::kEqual: return std::equal_to<>()(left, right);
    case Comparison::kUnequal: return std::not_equal_to<>()(left, right);
    case Comparison::kLess: return left < right;
    case Comparison::kGreater: return left > right;
    case Comparison::kNotGreater: return left <= right;
    case Comparison::kNotLess: return left >= right;
    default: return false;
  }
}

template <class Value>
bool ConditionState::compares(const Value& fieldValue) const {
  if (comparison == Comparison::kBinds) return true;
  if constexpr (std::same_as<Value, StringSet>) {
    return std::any_of(fieldValue.begin(), fieldValue.end(),
                       [&](const std::string& each) { return compares(HudString(each)); });
  } else {
    constexpr bool isText = std::same_as<Value, HudString>;
    if (comparison == Comparison::kPresent) {
      if constexpr (isText) return fieldValue.has_value() && !fieldValue->empty();
      return true;
    }
    if (comparison == Comparison::kMatches) {
      if constexpr (isText) return expression && expression->isIn(fieldValue.value_or("null"));
      std::string text;
      appendValue(text, fieldValue);
      return expression && expression->isIn(text);
    }
    Value wanted{};
    try {
      assignValue(value, wanted);
    } catch (const NotationError&) {
      return false;  // a field of this name in a type that was not checked
    }
    if constexpr (std::floating_point<Value>) {
      if (std::isnan(fieldValue) && std::isnan(wanted)) return comparison == Comparison::kEqual;
    }
    if constexpr (isText) {
      const bool isOrder = comparison != Comparison::kEqual && comparison != Comparison::kUnequal;
      if (isOrder && (!fieldValue || !wanted)) return false;
    }
    return orders(fieldValue, wanted);
  }
}

std::optional<FieldCondition> FieldCondition::read(std::string_view text, NotationError& error) {
  try {
    NotationParser parser(text);
    auto state = std::make_shared<const ConditionState>(parser, true);
    if (state->comparison == Comparison::kBinds) {
      throwUnexpected(state->value.column, "?" + state->value.text, "a value");
    }
    return FieldCondition(std::move(state));
  } catch (NotationError& thrown) {
    error = std::move(thrown);
    return std::nullopt;
  }
}

FieldCondition::FieldCondition(std::shared_ptr<const ConditionState> state)
    : state_(std::move(state)) {}
FieldCondition::FieldCondition(const FieldCondition&) = default;
FieldCondition& FieldCondition::operator=(const FieldCondition&) = default;
FieldCondition::~FieldCondition() = default;

const std::string& FieldCondition::path() const { return state_->path; }

bool FieldCondition::fits(const PacketDirectory::Entry& entry, NotationError& error) const {
  try {
    ConditionState(*state_).check(entry);
    return true;
  } catch (NotationError& thrown) {
    error = std::move(thrown);
    return false;
  }
}

bool FieldCondition::holds(const HudPacket& packet) const { return state_->holds(packet); }

}  // namespace varno
