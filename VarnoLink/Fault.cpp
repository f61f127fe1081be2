#include <VarnoLink/Fault.h>

#include <VarnoLink/Duration.h>
#include <VarnoTraffic/NearestName.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <span>
#include <utility>
#include <variant>
#include <vector>

namespace varno {
namespace {

constexpr std::string_view kBlanks = " \t";

constexpr std::uint64_t kNoLimit = std::numeric_limits<std::uint64_t>::max();
// In nanoseconds: long enough for any test, and far from where sums of times overflow.
constexpr std::uint64_t kLongestTime = 86'400'000'000'000;

// A parameter of a kind of fault. A number's limits are both allowed.
struct Parameter {
  std::string_view name;
  std::variant<Fault::Time Fault::*, Fault::Number Fault::*> member;
  bool isRequired = false;
  std::uint64_t least = 0;
  std::uint64_t most = kNoLimit;
};

constexpr bool kRequired = true;
constexpr bool kOptional = false;

constexpr Parameter kLatency[] = {{"delay", &Fault::delay, kRequired},
                                  {"jitter", &Fault::jitter, kOptional}};
constexpr Parameter kBandwidth[] = {{"rate", &Fault::rate, kRequired, 1}};
constexpr Parameter kSlicer[] = {{"size", &Fault::size, kRequired, 1},
                                 {"delay", &Fault::delay, kOptional}};
constexpr Parameter kStall[] = {{"for", &Fault::duration, kRequired}};
constexpr Parameter kCorrupt[] = {{"byte", &Fault::byte, kOptional},
                                  {"bit", &Fault::bit, kOptional, 0, 7}};
constexpr Parameter kTear[] = {{"bytes", &Fault::bytes, kOptional, 1}};
// So much noise at once is what a stage can hold.
constexpr Parameter kNoise[] = {{"bytes", &Fault::bytes, kRequired, 1, 1'000'000}};
constexpr Parameter kLimit[] = {{"bytes", &Fault::bytes, kRequired, 1}};
constexpr Parameter kAny[] = {{"count", &Fault::count, kOptional}};  // of every kind

constexpr std::string_view kChance = "chance";

struct Kind {
  std::string_view word;
  std::span<const Parameter> parameters;
  std::string_view summary;
};

// In the order of the enumeration.
constexpr std::array kKinds = {
    Kind{"latency", kLatency, "each frame leaves later"},
    Kind{"bandwidth", kBandwidth, "frames leave at no more than so many bytes a second"},
    Kind{"slicer", kSlicer, "frames leave in small pieces"},
    Kind{"stall", kStall, "nothing leaves for a while"},
    Kind{"drop", {}, "the frame is left out"},
    Kind{"duplicate", {}, "the frame leaves twice"},
    Kind{"corrupt", kCorrupt, "one bit of the frame is turned over"},
    Kind{"tear", kTear, "only the beginning of the frame leaves"},
    Kind{"noise", kNoise, "bytes that belong to no frame leave before the frame"},
    Kind{"limit", kLimit, "the link is closed when so many bytes have left"},
    Kind{"reset", {}, "the link is reset instead of the frame"},
};
static_assert(kKinds.size() == kFaultKinds.size());

const Kind& kindOf(FaultKind kind) { return kKinds[static_cast<std::size_t>(kind)]; }

bool isTime(const Parameter& parameter) { return parameter.member.index() == 0; }

template <class Integer>
std::optional<Integer> integerIn(std::string_view text) {
  Integer value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

// In billionths; "1", "0.25".
std::optional<std::uint32_t> chanceIn(std::string_view text) {
  constexpr std::size_t kDecimals = 9;
  const std::size_t point = std::min(text.find('.'), text.size());
  std::string digits(text.substr(0, point));
  const std::string_view decimals = point < text.size() ? text.substr(point + 1) : "0";
  if (digits.size() != 1 || decimals.empty() || decimals.size() > kDecimals) return std::nullopt;
  digits.append(decimals).append(kDecimals - decimals.size(), '0');
  const auto chance = integerIn<std::uint32_t>(digits);
  if (!chance || *chance > Fault::kCertain) return std::nullopt;
  return chance;
}

std::string chanceText(std::uint32_t chance) {
  std::string text = std::to_string(std::uint64_t{Fault::kCertain} + chance);
  text = (chance == Fault::kCertain ? "1." : "0.") + text.substr(1);
  text.resize(text.find_last_not_of('0') + 1);
  if (text.ends_with('.')) text.pop_back();
  return text;
}

std::string rangeText(const Parameter& parameter) {
  if (isTime(parameter)) return "a time of 24h at most, as 250us, 2ms or 1.5s";
  if (parameter.least == 0 && parameter.most == kNoLimit) return "a number";
  if (parameter.most == kNoLimit) return "a number from " + std::to_string(parameter.least) + " on";
  return "a number from " + std::to_string(parameter.least) + " to " +
         std::to_string(parameter.most);
}

constexpr std::string_view kExpectedChance = "a chance from 0 to 1, as 0.25";

bool isInRange(const Parameter& parameter, std::uint64_t value) {
  return value >= parameter.least && value <= parameter.most;
}

bool isInRange(std::chrono::nanoseconds time) {
  return time.count() >= 0 && static_cast<std::uint64_t>(time.count()) <= kLongestTime;
}

// Takes words from the front of the text and remembers where they stand.
class FaultParser {
 public:
  explicit FaultParser(std::string_view text) : text_(text) { skipBlanks(); }

  std::optional<Direction> takeDirection() {
    const auto direction = directionFromText(word());
    if (direction) advance(word().size());
    return direction;
  }

  Fault takeFault() {
    static constexpr auto kWords = [] {
      std::array<std::string_view, kKinds.size()> words;
      for (std::size_t at = 0; at < words.size(); ++at) words[at] = kKinds[at].word;
      return words;
    }();
    const auto* const found = std::find(kWords.begin(), kWords.end(), word());
    if (found == kWords.end()) {
      fail(word(), "a fault, as latency, drop or corrupt", nearestName(word(), kWords));
    }
    Fault fault;
    fault.kind = kFaultKinds[static_cast<std::size_t>(found - kWords.begin())];
    advance(word().size());
    while (!word().empty()) takeParameter(fault);
    for (const Parameter& parameter : kindOf(fault.kind).parameters) {
      if (!parameter.isRequired || isGiven(parameter.name)) continue;
      fail({}, std::string(parameter.name) + "=" + (isTime(parameter) ? "T" : "N"));
    }
    return fault;
  }

 private:
  void takeParameter(Fault& fault) {
    const std::string_view name = word().substr(0, word().find('='));
    const std::string_view whole = word();
    const Parameter* const parameter = named(name, fault.kind);
    if (parameter == nullptr && name != kChance) {
      std::vector<std::string_view> names = {kAny[0].name, kChance};
      for (const Parameter& one : kindOf(fault.kind).parameters) names.push_back(one.name);
      fail(name,
           "a parameter of " + std::string(kindOf(fault.kind).word) + ": " +
               faultParametersText(fault.kind),
           nearestName(name, names));
    }
    if (isGiven(name)) fail(name, "each parameter once");
    if (name.size() == whole.size()) {
      advance(name.size());
      fail(word(), "= and a value");
    }
    given_.push_back(name);
    advance(name.size() + 1, false);
    const std::string_view value = whole.substr(name.size() + 1);
    if (parameter == nullptr) {
      fault.chance = required(chanceIn(value), value, kExpectedChance);
    } else if (const auto* const time = std::get_if<Fault::Time Fault::*>(&parameter->member)) {
      const auto length = durationFromText(value);
      const bool fits = length && isInRange(*length);
      fault.*(*time) = required(fits ? length : std::nullopt, value, rangeText(*parameter));
    } else {
      const auto number = integerIn<std::uint64_t>(value);
      const bool fits = number && isInRange(*parameter, *number);
      fault.*std::get<Fault::Number Fault::*>(parameter->member) =
          required(fits ? number : std::nullopt, value, rangeText(*parameter));
    }
    advance(value.size());
  }

  static const Parameter* named(std::string_view name, FaultKind kind) {
    for (const auto parameters : {kindOf(kind).parameters, std::span<const Parameter>(kAny)}) {
      for (const Parameter& parameter : parameters) {
        if (parameter.name == name) return &parameter;
      }
    }
    return nullptr;
  }

  bool isGiven(std::string_view name) const {
    return std::find(given_.begin(), given_.end(), name) != given_.end();
  }

  template <class Value>
  Value required(const std::optional<Value>& value, std::string_view found,
                 std::string_view expected) const {
    if (!value) fail(found, std::string(expected));
    return *value;
  }

  // The word that is next; empty at the end.
  std::string_view word() const {
    const std::string_view rest = text_.substr(at_);
    return rest.substr(0, std::min(rest.find_first_of(kBlanks), rest.size()));
  }
  void skipBlanks() { at_ = std::min(text_.find_first_not_of(kBlanks, at_), text_.size()); }
  void advance(std::size_t count, bool skips = true) {
    at_ += count;
    if (skips) skipBlanks();
  }

  [[noreturn]] void fail(std::string_view found, std::string expected,
                         std::string_view nearest = {}) const {
    throw NotationError{at_ + 1, std::string(found), std::move(expected), std::string(nearest)};
  }

  std::string_view text_;
  std::size_t at_ = 0;
  std::vector<std::string_view> given_;
};

void appendParameter(std::string& text, const Fault& fault, const Parameter& parameter) {
  std::string value;
  if (const auto* const time = std::get_if<Fault::Time Fault::*>(&parameter.member)) {
    if (fault.*(*time)) value = durationText(*(fault.*(*time)));
  } else if (const auto& number = fault.*std::get<Fault::Number Fault::*>(parameter.member)) {
    value = std::to_string(*number);
  }
  if (!value.empty()) text.append(" ").append(parameter.name).append("=").append(value);
}

std::string problemOf(const Fault& fault, const Parameter& parameter) {
  const std::string name(parameter.name);
  if (const auto* const time = std::get_if<Fault::Time Fault::*>(&parameter.member)) {
    const Fault::Time& length = fault.*(*time);
    if (!length) return parameter.isRequired ? name + " is missing" : "";
    return isInRange(*length) ? "" : name + " is to be " + rangeText(parameter);
  }
  const Fault::Number& number = fault.*std::get<Fault::Number Fault::*>(parameter.member);
  if (!number) return parameter.isRequired ? name + " is missing" : "";
  return isInRange(parameter, *number) ? "" : name + " is to be " + rangeText(parameter);
}

}  // namespace

std::string_view faultKindText(FaultKind kind) noexcept { return kindOf(kind).word; }

std::string_view faultSummary(FaultKind kind) noexcept { return kindOf(kind).summary; }

std::string faultParametersText(FaultKind kind) {
  std::string text;
  for (const Parameter& parameter : kindOf(kind).parameters) {
    if (!parameter.isRequired) text += '[';
    text.append(parameter.name).append(isTime(parameter) ? "=T" : "=N");
    text += parameter.isRequired ? " " : "] ";
  }
  return text + "[count=N] [chance=P]";
}

std::optional<DirectedFault> directedFaultFromText(std::string_view text, NotationError& error) {
  try {
    FaultParser parser(text);
    DirectedFault fault;
    fault.direction = parser.takeDirection();
    fault.fault = parser.takeFault();
    return fault;
  } catch (NotationError& thrown) {
    error = std::move(thrown);
    return std::nullopt;
  }
}

std::optional<Fault> faultFromText(std::string_view text, NotationError& error) {
  try {
    return FaultParser(text).takeFault();
  } catch (NotationError& thrown) {
    error = std::move(thrown);
    return std::nullopt;
  }
}

std::string faultText(const Fault& fault) {
  std::string text(kindOf(fault.kind).word);
  for (const Parameter& parameter : kindOf(fault.kind).parameters) {
    appendParameter(text, fault, parameter);
  }
  appendParameter(text, fault, kAny[0]);
  if (fault.chance != Fault::kCertain) text += " chance=" + chanceText(fault.chance);
  return text;
}

std::string faultText(const DirectedFault& fault) {
  std::string text;
  if (fault.direction) text.append(directionText(*fault.direction)).append(" ");
  return text + faultText(fault.fault);
}

std::string faultProblem(const Fault& fault) {
  const std::string word(kindOf(fault.kind).word);
  for (const Parameter& parameter : kindOf(fault.kind).parameters) {
    const std::string problem = problemOf(fault, parameter);
    if (!problem.empty()) return std::string(word).append(": ").append(problem);
  }
  return fault.chance > Fault::kCertain ? word + ": chance is above 1" : std::string();
}

}  // namespace varno
