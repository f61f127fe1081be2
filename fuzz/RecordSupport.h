#pragma once

#include "FuzzSupport.h"

#include <VarnoTraffic/VarnoTraffic.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace varno::fuzz {

// What became of an input.
struct ReadResult {
  std::vector<TrafficRecord> records;
  std::vector<std::string> warnings;

  bool operator==(const ReadResult&) const = default;
};

// Gives its bytes a few at a time, as a pipe does.
class SlowBuffer : public std::streambuf {
 public:
  SlowBuffer(std::string bytes, std::size_t chunk) : bytes_(std::move(bytes)), chunk_(chunk) {
    setg(bytes_.data(), bytes_.data(), bytes_.data());
  }

 protected:
  int_type underflow() override {
    const auto left = static_cast<std::size_t>(bytes_.data() + bytes_.size() - egptr());
    if (left == 0) return traits_type::eof();
    setg(egptr(), egptr(), egptr() + std::min(chunk_, left));
    return traits_type::to_int_type(*gptr());
  }

 private:
  std::string bytes_;
  std::size_t chunk_;
};

inline ReadResult readAll(std::istream& stream, InputFormat format) {
  const bool mergesParts = format != InputFormat::kPcapng;
  const auto reader = openRecords(stream, format);
  ReadResult result;
  reader->setOnWarning(
      [&](const ReadWarning& warning) { result.warnings.push_back(warning.text()); });
  TrafficRecord record;
  while (reader->next(record)) {
    // Noise and frames that are too long come as the input does.
    const bool hasParts = record.kind == RecordKind::kNoise || record.kind == RecordKind::kLong;
    if (mergesParts && hasParts && !result.records.empty() &&
        result.records.back().kind == record.kind) {
      auto& bytes = result.records.back().bytes;
      bytes.insert(bytes.end(), record.bytes.begin(), record.bytes.end());
    } else {
      result.records.push_back(record);
    }
  }
  require(!reader->next(record), "the end stays the end");
  return result;
}

// Reads the input at once and a few bytes at a time; both must give the same.
inline ReadResult readAll(const std::string& input, InputFormat format, std::size_t chunk) {
  std::istringstream stream(input);
  ReadResult result = readAll(stream, format);
  SlowBuffer slow(input, chunk);
  std::istream slowStream(&slow);
  require(readAll(slowStream, format) == result, "records of an input that comes slowly");
  return result;
}

}  // namespace varno::fuzz
