#pragma once

#include <VarnoNetwork/Export.h>

// The version of the library as its release is named; the build reads it from here.
#define VARNO_NETWORK_VERSION_MAJOR 1
#define VARNO_NETWORK_VERSION_MINOR 0
#define VARNO_NETWORK_VERSION_PATCH 0

namespace varno {

// The version of the library that the program runs with. Unlike the macros above, which tell what
// the program was compiled against, these change with a shared library that is replaced.
VARNO_EXPORT extern const double VarnoNetworkVersionNumber;
VARNO_EXPORT extern const char VarnoNetworkVersionString[];  // one line, newline included

}  // namespace varno
