#pragma once

#include <VarnoNetwork/Export.h>

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

// Lengths of time as people write them: a number, with decimals where wanted, and its unit without
// a blank between them. The units are ns, us, ms, s, m (minutes) and h: "250us", "2ms", "1.5s",
// "3m".

namespace varno {

// None for any other text, a number without unit included (0 alone needs none), for a length that
// is no whole number of nanoseconds, and for one of more than 292 years.
VARNO_EXPORT std::optional<std::chrono::nanoseconds> durationFromText(
    std::string_view text) noexcept;

// The text that reads back the same, in the largest unit that needs no more than nine decimals and
// shows a number of at least 1: "90s", "1.5ms". duration: not negative.
VARNO_EXPORT std::string durationText(std::chrono::nanoseconds duration);

}  // namespace varno
