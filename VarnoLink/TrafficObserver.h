#pragma once

#include <VarnoLink/Clock.h>
#include <VarnoNetwork/Export.h>
#include <VarnoTraffic/TrafficRecord.h>

#include <cstdint>
#include <span>
#include <string_view>

namespace varno {

// Sees what passes over a link, in its order, on the thread that carries it, which it holds up as
// long as it takes. What it is shown is there for the length of the call.
class VARNO_EXPORT TrafficObserver {
 public:
  TrafficObserver() = default;
  virtual ~TrafficObserver();
  TrafficObserver(const TrafficObserver&) = delete;
  TrafficObserver& operator=(const TrafficObserver&) = delete;

  // Bytes passed, in whatever pieces the link had them. note: what a fault did to the frame that
  // begins with them; nearly always empty.
  virtual void onBytes(LinkTime time, Direction direction, std::span<const std::uint8_t> bytes,
                       std::string_view note) = 0;

  // Something else happened: a link came up or went down, a fault was put in, whose bytes, where
  // there are any, passed as they are here and are part of the stream; or there is a remark.
  virtual void onRecord(const TrafficRecord& record) = 0;

  // Whether it has more to do than it can bear much longer. Who is able to hold up the bytes does
  // so until it is over; else some of what passes may be missing from what it keeps. On any thread.
  virtual bool isBehind() const;
};

}  // namespace varno
