#include <VarnoTraffic/NotationVariables.h>

#include <VarnoTraffic/Notation.h>
#include <VarnoTraffic/Private/NotationParser.h>

#include <algorithm>
#include <utility>

namespace varno {

namespace {

FieldValue takeKnownValue(std::string_view line, std::size_t& at,
                          const NotationVariables& variables) {
  NotationParser parser(line, at, &variables);
  FieldValue value = parser.takeValue();
  parser.expectEndOfValue();
  if (parser.hasLater()) {
    throwUnexpected(value.column, value.text, "a value that is known from the beginning");
  }
  at = parser.offset();
  return value;
}

}  // namespace

std::optional<std::string> readNotationValue(std::string_view line, std::size_t& at,
                                             const NotationVariables& variables,
                                             NotationError& error) {
  try {
    return writtenValue(takeKnownValue(line, at, variables));
  } catch (NotationError& thrown) {
    error = std::move(thrown);
    return std::nullopt;
  }
}

std::optional<std::string> readNotationText(std::string_view line, std::size_t& at,
                                            const NotationVariables& variables,
                                            NotationError& error) {
  try {
    FieldValue value = takeKnownValue(line, at, variables);
    if (value.kind != FieldValue::Kind::kWord && value.kind != FieldValue::Kind::kText) {
      throwUnexpected(value.column, line.substr(value.column - 1, 1), "one value");
    }
    return std::move(value.text);
  } catch (NotationError& thrown) {
    error = std::move(thrown);
    return std::nullopt;
  }
}

bool isVariableName(std::string_view text) noexcept {
  const auto isLetter = [](char letter) {
    return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') || letter == '_';
  };
  return !text.empty() && isLetter(text.front()) &&
         std::all_of(text.begin(), text.end(), [&](char letter) {
           return isLetter(letter) || (letter >= '0' && letter <= '9');
         });
}

}  // namespace varno
