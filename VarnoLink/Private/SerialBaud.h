#pragma once

#include <cstdint>

namespace varno {

// Sets the rate in both directions. Throws LinkFailure where the device or the system does not have
// it, and std::system_error.
void setBaud(int terminal, std::uint32_t baud);

}  // namespace varno
