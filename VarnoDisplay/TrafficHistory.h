#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoTraffic/TrafficRecord.h>

#include <cstddef>
#include <cstdint>
#include <deque>

namespace varno {

// The last records that passed, up to a number of them and of their bytes. One thread at a time.
class VARNO_EXPORT TrafficHistory {
 public:
  static constexpr std::size_t kDefaultMaxRecords = 100'000;
  static constexpr std::size_t kDefaultMaxBytes = std::size_t{64} << 20;

  explicit TrafficHistory(std::size_t maxRecords = kDefaultMaxRecords,
                          std::size_t maxBytes = kDefaultMaxBytes)
      : maxRecords_(maxRecords), maxBytes_(maxBytes) {}

  // Adds a record; beyond a limit the oldest ones go.
  void add(TrafficRecord record);

  void clear();

  // The records that are kept, the oldest first.
  const std::deque<TrafficRecord>& records() const { return records_; }

  // How many were ever added; the first that is kept has the number added() - records().size().
  std::uint64_t added() const { return added_; }

 private:
  std::size_t maxRecords_;
  std::size_t maxBytes_;
  std::size_t bytes_ = 0;
  std::deque<TrafficRecord> records_;
  std::uint64_t added_ = 0;
};

}  // namespace varno
