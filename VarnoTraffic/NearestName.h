#pragma once

#include <VarnoNetwork/Export.h>

#include <span>
#include <string_view>

namespace varno {

// The name that takes the fewest changes of letters to become the word, whatever the case; empty
// where all are too far away. What a message offers to somebody who mistyped a name.
VARNO_EXPORT std::string_view nearestName(std::string_view word,
                                          std::span<const std::string_view> names);

}  // namespace varno
