#include <VarnoNetwork/Version.h>

namespace varno {

const double VarnoNetworkVersionNumber = VARNO_NETWORK_VERSION_MAJOR;

#define VARNO_TEXT_OF(number) #number
#define VARNO_TEXT(macro) VARNO_TEXT_OF(macro)

const char VarnoNetworkVersionString[] =
    "@(#)PROGRAM:VarnoNetwork  PROJECT:VarnoNetwork-" VARNO_TEXT(VARNO_NETWORK_VERSION_MAJOR) "\n";

}  // namespace varno
