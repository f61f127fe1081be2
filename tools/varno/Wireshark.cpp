#include "tools/varno/FileBuffers.h"
#include "tools/varno/Subcommand.h"
#include "tools/wireshark/LuaDissector.h"

namespace varno::tool {

Run defineWireshark(CLI::App& /*app*/) {
  return [] {
    print(luaDissector());
    return 0;
  };
}

}  // namespace varno::tool
