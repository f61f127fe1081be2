#pragma once

#include <cstddef>

namespace varno::bench {

// The number of times that this thread has called operator new.
std::size_t allocationCount() noexcept;

}  // namespace varno::bench
