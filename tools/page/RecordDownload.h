#pragma once

#include "tools/page/PageHub.h"

#include <httplib.h>

#include <string_view>

namespace varno::tool {

// Answers with the records that are kept as a file: "session.pcapng", "session.txt",
// "session.jsonl" or "session.varno", a scenario. Captures hold what passed; lines hide secrets
// unless the options show them, and scenarios in any case.
void downloadRecords(PageHub& hub, std::string_view name, const PageOptions& options,
                     httplib::Response& response);

}  // namespace varno::tool
