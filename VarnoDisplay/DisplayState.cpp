#include <VarnoDisplay/DisplayState.h>

#include <array>
#include <cstdio>

namespace varno {

std::string DisplayColor::text() const {
  std::array<char, 8> text{};
  static_cast<void>(std::snprintf(text.data(), text.size(), "#%02X%02X%02X", red, green, blue));
  return text.data();
}

std::string DisplayCode::text() const {
  std::string text = std::to_string(code);
  if (!meaning.empty()) text.append(" (").append(meaning).append(")");
  return text;
}

std::string ClockReading::text() const {
  using std::chrono::days;
  const auto day = std::chrono::floor<days>(time);
  const auto sinceEpoch = day.time_since_epoch();
  // Beyond, a calendar date cannot be told.
  constexpr days kMostDays{3'000'000};
  if (sinceEpoch > kMostDays || sinceEpoch < -kMostDays) {
    return std::to_string(time.time_since_epoch().count()) + " ms";
  }
  const std::chrono::year_month_day date{std::chrono::sys_days{sinceEpoch}};
  const std::chrono::hh_mm_ss clock{std::chrono::floor<std::chrono::seconds>(time) - day};
  std::array<char, 48> text{};
  static_cast<void>(std::snprintf(
      text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02dZ", int{date.year()},
      unsigned{date.month()}, unsigned{date.day()}, static_cast<int>(clock.hours().count()),
      static_cast<int>(clock.minutes().count()), static_cast<int>(clock.seconds().count())));
  return text.data();
}

}  // namespace varno
