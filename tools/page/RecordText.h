#pragma once

#include <VarnoTraffic/VarnoTraffic.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace varno::tool {

// What the page shows of records, as JSON. One thread at a time.
class RecordText {
 public:
  explicit RecordText(Secrets secrets) : secrets_(secrets), printer_(secrets) {}

  // Of a packet's line, as much as the list of records has.
  static constexpr std::size_t kMaxRowText = 500;

  // A row of the list. Every record has to come by, in order: bytes outside any frame may be the
  // rest of a secret.
  //
  //   n number, t time in seconds (left out where it is not known), d direction, k kind, y packet
  //   type, s fields or bytes, l length, b array of what is wrong, o note
  //
  // hiddenBytes: set to the bytes as hex where some of them are hidden and no explanation tells.
  std::string row(std::uint64_t number, const TrafficRecord& record, std::string& hiddenBytes);

 private:
  Secrets secrets_;
  PacketDirectory directory_;
  NotationPrinter printer_;
  TrafficRecord bare_;
  std::string line_;
};

// One record in full: its bytes, spans and fields. hiddenBytes: what row() made of it.
std::string frameJson(std::uint64_t number, const TrafficRecord& record,
                      const std::string& hiddenBytes, Secrets secrets);

// The time in seconds, as in the one-line notation.
std::string timeText(std::int64_t nanoseconds);

}  // namespace varno::tool
