#pragma once

#include "tools/page/PageHub.h"

#include <cstdint>
#include <span>
#include <string>

namespace varno::tool {

// Whom a packet is for, where nobody says: events come from the display.
Direction usualDirection(std::span<const std::uint8_t> frame);

// Reads a command as the page posts it:
//
//   {"do":"send","line":"KeepAlive","direction":">"}
//   {"do":"again","record":17}            the recorded bytes, whatever they are
//   {"do":"fault","line":"corrupt byte=7","direction":"<"}
//   {"do":"clear","direction":null}       the faults
//   {"do":"hangUp"}, {"do":"reset"}, {"do":"open"}
//
// Returns why it cannot be done; empty where it can.
std::string readCommand(const std::string& body, PageHub& hub, const PageOptions& options,
                        PageCommand& command);

}  // namespace varno::tool
