#pragma once

#include <string>

namespace varno {

// A dissector for Wireshark, in Lua 5.2 and 5.4, that knows the packet types of the catalogue: the
// library's, and those that the program has registered. A type whose identifiers or fields cannot
// be asked for is left out or shown without fields. Throws std::bad_alloc.
std::string luaDissector();

}  // namespace varno
