#pragma once

#include <poll.h>

#include <chrono>
#include <optional>
#include <span>

namespace varno {

// So long from now; in a hundred years, where that is longer than the clock can count.
std::chrono::steady_clock::time_point deadlineAfter(std::chrono::milliseconds timeout);

// poll() that signals do not interrupt. False when the deadline passed first; none waits for ever.
// Throws std::system_error.
bool pollUntil(std::span<pollfd> descriptors,
               std::optional<std::chrono::steady_clock::time_point> deadline);

}  // namespace varno
