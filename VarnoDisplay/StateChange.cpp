#include <VarnoDisplay/Private/MomentText.h>
#include <VarnoDisplay/StateChange.h>
#include <VarnoLink/Duration.h>
#include <VarnoNetwork/Network/HudLog.h>
#include <VarnoTraffic/RealText.h>

#include <algorithm>
#include <array>
#include <memory>
#include <type_traits>
#include <utility>

namespace varno {
namespace {

constexpr std::size_t kLongestValue = 160;
constexpr std::size_t kLongestField = 60;

// Cuts between characters: never before a byte that continues one.
std::string shortened(const std::string& value, std::size_t longest) {
  if (value.size() <= longest) return value;
  std::size_t end = longest;
  while (end > 0 && (static_cast<unsigned char>(value[end]) & 0xC0) == 0x80) --end;
  return value.substr(0, end) + "... (" + std::to_string(value.size() - end) + " bytes more)";
}

// So that it drives no terminal.
std::string inQuotes(std::string_view text) {
  std::string result = "\"";
  for (const char character : HudLog::printableLine(text)) {
    if (character == '"') result += '\\';
    result += character;
  }
  return result += '"';
}

std::string textOf(bool value) { return value ? "true" : "false"; }
std::string textOf(std::int32_t value) { return std::to_string(value); }
std::string textOf(std::int64_t value) { return std::to_string(value); }
std::string textOf(const std::string& value) { return inQuotes(value); }
std::string textOf(const DisplayColor& value) { return value.text(); }
std::string textOf(const DisplayCode& value) { return value.text(); }
std::string textOf(const ClockReading& value) { return value.text(); }

std::string textOf(float value) {
  std::string text;
  appendReal(text, value);
  return text;
}

std::string textOf(LinkTime value) { return momentText(value); }

std::string textOf(const StringSet& values) {
  std::string text = "[";
  for (const std::string& value : values) {
    if (text.size() > 1) text += ',';
    text += inQuotes(value);
  }
  return text += ']';
}

template <class Value>
std::string textOf(const std::optional<Value>& value) {
  return value ? textOf(*value) : std::string("none");
}

template <class Type>
inline constexpr bool kIsOptionalRecord = false;
template <DisplayRecord Record>
inline constexpr bool kIsOptionalRecord<std::optional<Record>> = true;

template <class Type>
inline constexpr bool kIsRecordList = false;
template <DisplayRecord Record>
inline constexpr bool kIsRecordList<std::vector<Record>> = true;

// The fields of a record that are not as in a fresh one: `title="Ada" goesAt=+10s`. Left out is
// what the path tells already.
struct Summary {
  LinkTime now;
  std::string key;
  std::string text;

  template <class Value>
  void operator()(std::string_view name, const Value& fresh, const Value& value) {
    if (fresh == value) return;
    const std::string shown = valueText(value);
    if (shown.empty()) return;
    if (!text.empty()) text += ' ';
    text.append(name).append("=").append(shown);
  }

  template <class Value>
  std::string valueText(const Value& value) const {
    const std::string whole = textOf(value);
    return whole == key || whole == inQuotes(key) ? std::string() : shortened(whole, kLongestField);
  }
  std::string valueText(const std::optional<LinkTime>& value) const {
    if (!value) return "never";
    if (*value <= now) return textOf(*value);
    return std::string("+").append(durationText(*value - now));
  }
  std::string valueText(LinkTime value) const {
    return value == now ? std::string() : textOf(value);
  }
};

template <class Record>
std::string summaryOf(const Record& record, std::int64_t time) {
  Summary summary{LinkTime(std::chrono::nanoseconds(time)), record.key(), {}};
  Record::walk(summary, std::as_const(*std::make_unique<Record>()), record);
  return summary.text.empty() ? "new" : summary.text;
}

template <class Record>
const Record* elementWithKey(const std::vector<Record>& list, const std::string& key) {
  const auto found = std::find_if(list.begin(), list.end(),
                                  [&](const Record& element) { return element.key() == key; });
  return found == list.end() ? nullptr : &*found;
}

// Walks two states side by side.
class Comparison {
 public:
  Comparison(std::int64_t time, std::string_view cause) : time_(time), cause_(cause) {}

  template <class Value>
  void operator()(std::string_view name, const Value& before, const Value& after) {
    const std::size_t length = path_.size();
    if (!path_.empty()) path_ += '.';
    path_ += name;
    compare(before, after);
    path_.resize(length);
  }

  std::vector<StateChange> take() { return std::move(changes_); }

 private:
  template <class Value>
  void compare(const Value& before, const Value& after) {
    if constexpr (DisplayRecord<Value>) {
      Value::walk(*this, before, after);
    } else if constexpr (kIsOptionalRecord<Value>) {
      if (before && after && before->key() == after->key()) return compare(*before, *after);
      if (!before && !after) return;
      add(before ? summaryOf(*before, time_) : std::string(),
          after ? summaryOf(*after, time_) : std::string());
    } else if constexpr (kIsRecordList<Value>) {
      compareLists(before, after);
    } else if constexpr (std::is_floating_point_v<Value>) {
      if (textOf(before) != textOf(after)) add(textOf(before), textOf(after));
    } else if (!(before == after)) {
      add(textOf(before), textOf(after));
    }
  }

  template <class Record>
  void compareLists(const std::vector<Record>& before, const std::vector<Record>& after) {
    const std::size_t length = path_.size();
    const auto enter = [&](const Record& element) {
      path_.resize(length);
      path_.append("[").append(HudLog::printableLine(element.key())).append("]");
    };
    for (const Record& element : before) {
      enter(element);
      if (elementWithKey(after, element.key()) == nullptr) add(summaryOf(element, time_), {});
    }
    for (const Record& element : after) {
      enter(element);
      const Record* const earlier = elementWithKey(before, element.key());
      if (earlier == nullptr) {
        add({}, summaryOf(element, time_));
      } else {
        compare(*earlier, element);
      }
    }
    path_.resize(length);
  }

  void add(std::string before, std::string after) {
    changes_.push_back({time_, path_, std::move(before), std::move(after), std::string(cause_)});
  }

  std::int64_t time_;
  std::string_view cause_;
  std::string path_;
  std::vector<StateChange> changes_;
};

}  // namespace

std::string StateChange::text() const {
  std::string line = path + ": ";
  const bool isElement = before.empty() || after.empty();
  if (isElement) {
    line += after.empty() ? "gone" : after;
  } else {
    line += shortened(before, kLongestValue) + " -> " + shortened(after, kLongestValue);
  }
  return line + " (" + cause + ")";
}

std::vector<StateChange> changesBetween(const DisplayState& before, const DisplayState& after,
                                        std::int64_t time, std::string_view cause) {
  Comparison comparison(time, cause);
  DisplayState::walk(comparison, before, after);
  return comparison.take();
}

}  // namespace varno
