#include <VarnoDisplay/Private/MomentText.h>
#include <VarnoDisplay/StateChange.h>

#include <nlohmann/json.hpp>

#include <cmath>

namespace varno {
namespace {

using Json = nlohmann::ordered_json;

Json jsonFrom(bool value) { return value; }
Json jsonFrom(std::int32_t value) { return value; }
Json jsonFrom(std::int64_t value) { return std::to_string(value); }
Json jsonFrom(const std::string& value) { return value; }
Json jsonFrom(const DisplayColor& value) { return value.text(); }
Json jsonFrom(const StringSet& value) { return value; }

Json jsonFrom(float value) {
  if (std::isfinite(value)) return value;
  if (std::isnan(value)) return "nan";
  return value > 0 ? "inf" : "-inf";
}

Json jsonFrom(LinkTime value) { return momentText(value); }

Json jsonFrom(const DisplayCode& value) {
  return {{"code", value.code}, {"meaning", value.meaning}};
}

Json jsonFrom(const ClockReading& value) {
  return {{"time", std::to_string(value.time.time_since_epoch().count())},
          {"setAt", jsonFrom(value.setAt)}};
}

template <class Value>
Json jsonFrom(const std::optional<Value>& value);
template <DisplayRecord Record>
Json jsonFrom(const std::vector<Record>& value);

struct JsonFields {
  Json object = Json::object();

  template <class Value>
  void operator()(std::string_view name, const Value& value);
};

template <DisplayRecord Record>
Json jsonFrom(const Record& record) {
  JsonFields fields;
  Record::walk(fields, record);
  return std::move(fields.object);
}

template <class Value>
Json jsonFrom(const std::optional<Value>& value) {
  return value ? jsonFrom(*value) : Json(nullptr);
}

template <DisplayRecord Record>
Json jsonFrom(const std::vector<Record>& value) {
  Json array = Json::array();
  for (const Record& element : value) array.push_back(jsonFrom(element));
  return array;
}

template <class Value>
void JsonFields::operator()(std::string_view name, const Value& value) {
  object[std::string(name)] = jsonFrom(value);
}

// A text that the owner gave may be anything.
std::string lineOf(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

std::string jsonOf(const DisplayState& state) { return lineOf(jsonFrom(state)); }

std::string jsonOf(const StateChange& change) {
  return lineOf({{"time", jsonFrom(LinkTime(std::chrono::nanoseconds(change.time)))},
                 {"path", change.path},
                 {"before", change.before},
                 {"after", change.after},
                 {"cause", change.cause}});
}

}  // namespace varno
