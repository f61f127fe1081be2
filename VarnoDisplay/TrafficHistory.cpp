#include <VarnoDisplay/TrafficHistory.h>

#include <utility>

namespace varno {

void TrafficHistory::add(TrafficRecord record) {
  records_.push_back(std::move(record));
  ++added_;
  while (records_.size() > maxRecords_) records_.pop_front();
}

void TrafficHistory::clear() { records_.clear(); }

}  // namespace varno
