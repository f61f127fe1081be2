#include <bench/Case.h>
#include <bench/Transport.h>

namespace varno::bench {

std::vector<Case> startCases() {
  return {{.name = "construct a network", .library = repeat([] { Transport network; })}};
}

}  // namespace varno::bench
