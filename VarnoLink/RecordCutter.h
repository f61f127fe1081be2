#pragma once

#include <VarnoLink/TrafficObserver.h>
#include <VarnoTraffic/FrameCutter.h>

#include <array>
#include <functional>
#include <string>

namespace varno {

// Makes records of what passes in both directions:
//
//   RecordCutter cutter([&](const TrafficRecord& record) { history.add(record); });
//
// The bytes of one direction's records, put together, are its stream; each frame is one record,
// with the time at which its last byte passed. One thread at a time.
class VARNO_EXPORT RecordCutter : public TrafficObserver {
 public:
  // The record is there for the length of the call.
  using OnRecord = std::function<void(const TrafficRecord& record)>;

  explicit RecordCutter(OnRecord onRecord);
  ~RecordCutter() override;

  void onBytes(LinkTime time, Direction direction, std::span<const std::uint8_t> bytes,
               std::string_view note) override;

  // A frame that is unfinished when its link comes up or goes down, or when a record with bytes
  // comes in its direction, ends there as torn.
  void onRecord(const TrafficRecord& record) override;

  // Nothing more passes, or not what followed: frames that are unfinished end as torn.
  void finish(LinkTime time);

 private:
  struct Way {
    FrameCutter cutter;
    std::string note;  // of the frame that is next
  };

  VARNO_INTERNAL void finish(LinkTime time, Direction direction);
  VARNO_INTERNAL void give(LinkTime time, Direction direction, const FrameCutter::Piece& piece);

  OnRecord onRecord_;
  std::array<Way, 2> ways_;  // by direction
  TrafficRecord record_;
};

}  // namespace varno
