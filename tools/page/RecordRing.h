#pragma once

#include <VarnoTraffic/TrafficRecord.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>

namespace varno::tool {

// The last records, numbered from 1 on, with their rows: bounded in number and in bytes. One thread
// at a time.
class RecordRing {
 public:
  struct Kept {
    TrafficRecord record;
    std::string row;          // as JSON
    std::string hiddenBytes;  // see RecordText
  };

  RecordRing(std::size_t maxRecords, std::size_t maxBytes)
      : maxRecords_(maxRecords), maxBytes_(maxBytes) {}

  // Adds the record with the number last() + 1.
  void add(Kept kept);

  // Null where it is not kept any more, or not yet there.
  const Kept* find(std::uint64_t number) const;

  std::uint64_t first() const { return last_ - kept_.size() + 1; }  // that is kept
  std::uint64_t last() const { return last_; }                      // 0 before the first

 private:
  void dropFirst();

  std::size_t maxRecords_;
  std::size_t maxBytes_;
  std::deque<Kept> kept_;
  std::size_t bytes_ = 0;
  std::uint64_t last_ = 0;
};

}  // namespace varno::tool
