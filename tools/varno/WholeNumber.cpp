#include "tools/varno/WholeNumber.h"

#include "tools/varno/Failure.h"

#include <charconv>
#include <string>

namespace varno::tool {

CLI::Validator wholeNumber(std::uint64_t first, std::uint64_t last) {
  const auto check = [first, last](const std::string& text) {
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    const bool isDecimal = text == "0" || !text.starts_with('0');
    if (error == std::errc() && stop == end && isDecimal && number >= first && number <= last) {
      return std::string();
    }
    return "'" + shown(text) + "' is no whole number from " + std::to_string(first) + " to " +
           std::to_string(last);
  };
  return {check, std::string()};
}

}  // namespace varno::tool
