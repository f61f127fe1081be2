#pragma once

#include <string_view>

namespace varno::example {

// Directs the process's log to standard output. Each line goes out with the name in front, in one
// write, so that lines of several processes do not mix; very long ones are shortened.
void logAs(std::string_view name);

}  // namespace varno::example
