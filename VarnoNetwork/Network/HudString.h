#pragma once

#include <optional>
#include <string>

namespace varno {

// Text that may be absent. Absent text is written to the wire as an empty string; text whose bytes
// arrived as invalid UTF-8 is read as absent. In descriptions and in the log it shows as "(null)".
using HudString = std::optional<std::string>;

}  // namespace varno
