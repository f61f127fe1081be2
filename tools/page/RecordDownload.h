#pragma once

#include "tools/page/PageHub.h"

#include <httplib.h>

#include <string_view>

namespace varno::tool {

// Answers with the records that are kept as a file: "session.pcapng", "session.txt" or
// "session.jsonl". Captures hold what passed; lines hide secrets unless the options show them.
void downloadRecords(PageHub& hub, std::string_view name, const PageOptions& options,
                     httplib::Response& response);

}  // namespace varno::tool
