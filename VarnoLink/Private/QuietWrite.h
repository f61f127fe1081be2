#pragma once

#include <sys/types.h>

#include <cstdint>
#include <span>

namespace varno {

// write(), which signals do not interrupt, and which raises no SIGPIPE where the peer is gone: it
// then fails with EPIPE and nothing else.
ssize_t writeQuietly(int descriptor, bool isSocket, std::span<const std::uint8_t> bytes) noexcept;

}  // namespace varno
