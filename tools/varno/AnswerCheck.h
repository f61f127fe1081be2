#pragma once

#include <VarnoTraffic/PacketDirectory.h>
#include <VarnoTraffic/Secrets.h>

#include <cstdint>
#include <span>
#include <string>

namespace varno::tool {

// How a frame that came differs from the one that was expected: both as lines, and below them each
// field that differs; for people.
std::string differenceOf(std::span<const std::uint8_t> expected,
                         std::span<const std::uint8_t> received, const PacketDirectory& directory,
                         Secrets secrets);

}  // namespace varno::tool
