// Asks a clock of the links.
#include <VarnoLink/VarnoLink.h>

#include <cstdlib>

int main() {
  varno::ManualClock clock;
  clock.advance(std::chrono::seconds(1));
  return clock.now() == varno::LinkTime(std::chrono::seconds(1)) ? EXIT_SUCCESS : EXIT_FAILURE;
}
