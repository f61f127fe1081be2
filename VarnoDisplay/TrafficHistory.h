#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoTraffic/TrafficRecord.h>

#include <cstddef>
#include <cstdint>
#include <deque>

namespace varno {

// The last records that passed, up to a limit. One thread at a time.
class VARNO_EXPORT TrafficHistory {
 public:
  static constexpr std::size_t kDefaultMaxRecords = 100'000;

  explicit TrafficHistory(std::size_t maxRecords = kDefaultMaxRecords) : maxRecords_(maxRecords) {}

  // Adds a record; beyond the limit the oldest one goes.
  void add(TrafficRecord record);

  void clear();

  // The records that are kept, the oldest first.
  const std::deque<TrafficRecord>& records() const { return records_; }

  // How many were ever added; the first that is kept has the number added() - records().size().
  std::uint64_t added() const { return added_; }

 private:
  std::size_t maxRecords_;
  std::deque<TrafficRecord> records_;
  std::uint64_t added_ = 0;
};

}  // namespace varno
