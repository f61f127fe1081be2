// Keeps a record.
#include <VarnoDisplay/VarnoDisplay.h>

#include <cstdlib>

int main() {
  varno::TrafficHistory history(1);
  history.add({});
  history.add({});
  return history.added() == 2 && history.records().size() == 1 ? EXIT_SUCCESS : EXIT_FAILURE;
}
