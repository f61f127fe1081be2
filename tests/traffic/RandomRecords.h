#pragma once

#include <VarnoTraffic/TrafficRecord.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace varno::test {

// Records of every kind, in the order of their times. The same seed gives the same.
inline std::vector<TrafficRecord> randomRecords(std::uint32_t seed, std::size_t count,
                                                std::size_t longest) {
  // Some read like what a capture writes of its own accord.
  static const std::string kNotes[] = {
      "",           "a remark",          "link up", "fault: none",
      "two\nlines", "caf\xC3\xA9 \"q\"", "note",    std::string(70, 'x')};
  std::mt19937 random(seed);
  const auto below = [&random](std::size_t bound) { return random() % bound; };
  std::int64_t time = 1'500'000'000'000'000'000;
  std::vector<TrafficRecord> records(count);
  for (TrafficRecord& record : records) {
    time += static_cast<std::int64_t>(below(3'000'000'000));
    if (below(8) != 0) record.time = time;
    if (below(8) != 0) record.direction = static_cast<Direction>(below(2));
    record.kind = kRecordKinds[below(kRecordKinds.size())];
    record.note = kNotes[below(std::size(kNotes))];
    if (!mayHaveBytes(record.kind) || (record.kind == RecordKind::kFault && below(2) == 0))
      continue;
    record.bytes.resize(1 + below(below(20) == 0 ? longest : 40));
    for (std::uint8_t& byte : record.bytes) byte = static_cast<std::uint8_t>(random());
  }
  return records;
}

}  // namespace varno::test
