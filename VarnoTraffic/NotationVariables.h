#pragma once

#include <VarnoNetwork/Export.h>

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace varno {

struct NotationError;

// Values that have a name. Where a line is read with them, $name stands for the value, wherever a
// value can stand without quotes. Each is written as the one-line notation has it: 5, "a text",
// ["a","b"]. One that is none has a name, but is known only later: what is read then is checked as
// far as it goes, and the field keeps its default.
using NotationVariables = std::map<std::string, std::optional<std::string>, std::less<>>;

// Reads the value that stands in the line at `at`, and puts `at` behind it. What it was written as,
// with the variables' values in their places; none, with the error, where no value stands there.
// The value of a variable that is known only later is an error as well.
VARNO_EXPORT std::optional<std::string> readNotationValue(std::string_view line, std::size_t& at,
                                                          const NotationVariables& variables,
                                                          NotationError& error);

// The same for a value that is one text, quoted or not; the text itself.
VARNO_EXPORT std::optional<std::string> readNotationText(std::string_view line, std::size_t& at,
                                                         const NotationVariables& variables,
                                                         NotationError& error);

// Whether the text can be the name of a variable: letters, digits and _, no digit first.
VARNO_EXPORT bool isVariableName(std::string_view text) noexcept;

}  // namespace varno
