#pragma once

#include <VarnoLink/Clock.h>

#include <string>

namespace varno {

// Seconds since the epoch with nine decimals, as records have it: "1500000000.104000000".
inline std::string momentText(LinkTime moment) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(moment);
  const std::string decimals = std::to_string((moment - seconds).count());
  return std::to_string(seconds.time_since_epoch().count()) + "." +
         std::string(9 - decimals.size(), '0') + decimals;
}

}  // namespace varno
