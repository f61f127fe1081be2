#pragma once

#include <cstddef>
#include <string_view>

namespace varno {

// The number of bytes of the printable character at the front of `text`; 0 where there is none,
// because the text is empty, not valid UTF-8 there, or has another character.
//
// Not printable are controls, format characters (direction, joining, tags, byte order mark), line
// and paragraph separators, private use, noncharacters, and the code points that Unicode keeps for
// future format characters. Other unassigned code points count as printable: Unicode assigns more
// every year, and a table would hide new letters and emoji.
std::size_t printableLength(std::string_view text) noexcept;

}  // namespace varno
