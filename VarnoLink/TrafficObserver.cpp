#include <VarnoLink/TrafficObserver.h>

namespace varno {

TrafficObserver::~TrafficObserver() = default;

bool TrafficObserver::isBehind() const { return false; }

}  // namespace varno
