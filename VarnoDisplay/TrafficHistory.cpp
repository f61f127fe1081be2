#include <VarnoDisplay/TrafficHistory.h>

#include <utility>

namespace varno {

void TrafficHistory::add(TrafficRecord record) {
  bytes_ += record.bytes.size();
  records_.push_back(std::move(record));
  ++added_;
  while (records_.size() > maxRecords_ || bytes_ > maxBytes_) {
    bytes_ -= records_.front().bytes.size();
    records_.pop_front();
  }
}

void TrafficHistory::clear() {
  records_.clear();
  bytes_ = 0;
}

}  // namespace varno
