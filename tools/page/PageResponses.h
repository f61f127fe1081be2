#pragma once

#include "tools/page/RequestGuard.h"

#include <httplib.h>

#include <string>

namespace varno::tool {

inline constexpr const char* kJsonType = "application/json; charset=utf-8";

// What every response has: the page runs no scripts but its own, and is nobody else's.
const httplib::Headers& safeHeaders();

// A sentence for people, as text.
void answer(httplib::Response& response, int status, const std::string& text);

// The same for the page: {"error": problem}. A command that is not done is answered by 200, too: a
// browser tells of any other status as if the page had a fault.
void answerProblem(httplib::Response& response, int status, const std::string& problem);

// What a viewer had last.
std::string lastIdOf(const httplib::Request& request);

RequestHead headOf(const httplib::Request& request);

}  // namespace varno::tool
