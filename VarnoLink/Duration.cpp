#include <VarnoLink/Duration.h>

#include <algorithm>
#include <cstdint>
#include <limits>

namespace varno {
namespace {

struct TimeUnit {
  std::string_view name;
  std::uint64_t nanoseconds;
};

// From the largest on. Minutes and hours are not printed with decimals: most have no end.
constexpr TimeUnit kTimeUnits[] = {
    {"h", 3'600'000'000'000}, {"m", 60'000'000'000}, {"s", 1'000'000'000},
    {"ms", 1'000'000},        {"us", 1'000},         {"ns", 1}};
constexpr std::uint64_t kNanosecondsOfSecond = 1'000'000'000;
constexpr std::uint64_t kMostNanoseconds = std::numeric_limits<std::int64_t>::max();

// Takes the digits at the text's beginning; false where their number has no room.
bool takeDigits(std::string_view& text, std::uint64_t& number, std::size_t& count) {
  for (count = 0; !text.empty() && text.front() >= '0' && text.front() <= '9'; ++count) {
    const auto digit = static_cast<std::uint64_t>(text.front() - '0');
    if (number > (kMostNanoseconds - digit) / 10) return false;
    number = 10 * number + digit;
    text.remove_prefix(1);
  }
  return true;
}

}  // namespace

std::optional<std::chrono::nanoseconds> durationFromText(std::string_view text) noexcept {
  if (text == "0") return std::chrono::nanoseconds(0);
  std::uint64_t number = 0;
  std::size_t digits = 0;
  if (!takeDigits(text, number, digits) || digits == 0) return std::nullopt;
  std::uint64_t divisor = 1;
  if (text.starts_with('.')) {
    text.remove_prefix(1);
    if (!takeDigits(text, number, digits) || digits == 0) return std::nullopt;
    for (; digits > 0; --digits) {
      if (divisor > kMostNanoseconds / 10) return std::nullopt;
      divisor *= 10;
    }
  }
  const TimeUnit* const unit =
      std::find_if(std::begin(kTimeUnits), std::end(kTimeUnits),
                   [text](const TimeUnit& one) { return one.name == text; });
  if (unit == std::end(kTimeUnits)) return std::nullopt;
  std::uint64_t factor = unit->nanoseconds;
  while (divisor > 1 && number % 10 == 0) {  // what ends in zeros has more room
    number /= 10;
    divisor /= 10;
  }
  for (; divisor > 1 && factor % 10 == 0; divisor /= 10) factor /= 10;
  if (number != 0 && factor > kMostNanoseconds / number) return std::nullopt;
  number *= factor;
  if (number % divisor != 0) return std::nullopt;
  return std::chrono::nanoseconds(static_cast<std::int64_t>(number / divisor));
}

std::string durationText(std::chrono::nanoseconds duration) {
  const auto number = static_cast<std::uint64_t>(duration.count());
  if (number == 0) return "0s";
  const TimeUnit& unit =
      *std::find_if(std::begin(kTimeUnits), std::end(kTimeUnits), [number](const TimeUnit& one) {
        return number >= one.nanoseconds &&
               (one.nanoseconds <= kNanosecondsOfSecond || number % one.nanoseconds == 0);
      });
  std::string text = std::to_string(number / unit.nanoseconds);
  if (std::uint64_t rest = number % unit.nanoseconds; rest > 0) {
    text += '.';
    for (std::uint64_t place = unit.nanoseconds / 10; rest > 0; place /= 10) {
      text += static_cast<char>('0' + rest / place);
      rest %= place;
    }
  }
  return text.append(unit.name);
}

}  // namespace varno
