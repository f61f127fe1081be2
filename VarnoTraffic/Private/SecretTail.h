#pragma once

#include <VarnoTraffic/PacketDirectory.h>
#include <VarnoTraffic/TrafficRecord.h>

#include <array>
#include <cstddef>
#include <vector>

namespace varno {

// Finds the secrets in what a cutter gave up, record after record. Where a packet that may have
// secrets breaks off, the bytes behind it may be the rest of one. So they are hidden as well, up to
// the next STX of the direction.
class SecretTail {
 public:
  // For a record that is a whole frame.
  void endAt(const TrafficRecord& frame) noexcept { goesOn(frame) = false; }

  // For every other record: of each of its bytes, whether it must be hidden; empty where none must.
  std::vector<bool> hiddenBytes(const TrafficRecord& record, const PacketDirectory& directory);

 private:
  bool& goesOn(const TrafficRecord& record) noexcept {
    return goesOn_[record.direction ? 1 + static_cast<std::size_t>(*record.direction) : 0];
  }

  std::array<bool, 3> goesOn_{};  // by direction: none, to the display, to the phone
};

}  // namespace varno
