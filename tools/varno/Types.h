#pragma once

#include <string>

namespace varno::tool {

// The packet types that there are, as a JSON array of the objects that `varno types --json` prints.
std::string typesJson();

}  // namespace varno::tool
