#include <VarnoDisplay/DisplayCodes.h>

#include <algorithm>

namespace varno {

std::string DisplayCodes::speedUnit(std::int32_t code) { return code == 0 ? "km/h" : "mp/h"; }

std::string DisplayCodes::phone(std::int32_t code) { return code == 0 ? "android" : "ios"; }

DisplayColor DisplayCodes::color(std::int32_t word) {
  const auto bits = static_cast<std::uint32_t>(word);
  const auto byte = [bits](unsigned shift) { return static_cast<std::uint8_t>(bits >> shift); };
  return {byte(16), byte(8), byte(0)};
}

std::int32_t DisplayCodes::brightnessPercent(std::int32_t brightness) const {
  if (fullBrightness <= 0) return 0;
  const std::int64_t percent = std::int64_t{brightness} * 100 / fullBrightness;
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(percent, 0, 100));
}

DisplayCode DisplayCodes::codeOf(std::int32_t code, const Meanings& meanings) {
  const auto found = meanings.find(code);
  return {code, found == meanings.end() ? std::string() : found->second};
}

}  // namespace varno
