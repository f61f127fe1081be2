#pragma once

#include <string>

namespace varno {

// The other programs that have the file open, as far as this user may know it: "ModemManager
// (process 612)", several with commas between. Empty where there is none, or the system does not
// tell.
std::string deviceHolders(const std::string& path);

}  // namespace varno
