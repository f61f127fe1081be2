#pragma once

#include "tools/varno/RecordSource.h"
#include "tools/varno/ReplaySchedule.h"

#include <VarnoLink/Link.h>
#include <VarnoLink/LinkTimer.h>
#include <VarnoLink/LinkWatch.h>
#include <VarnoLink/TrafficObserver.h>
#include <VarnoTraffic/FrameCutter.h>
#include <VarnoTraffic/PacketDirectory.h>
#include <VarnoTraffic/Secrets.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace varno::tool {

// Sends one direction of a capture over a link, and compares what comes with the other one. On the
// loop's thread.
class Replayer {
 public:
  struct Options {
    std::string file;
    std::optional<InputFormat> format;
    Direction direction = Direction::kToDisplay;  // what is sent
    ReplaySchedule::Options schedule;
    std::uint64_t loops = 1;  // how often the capture is sent; 0: until it is stopped
    bool waitsForEnter = false;
    bool expects = false;
    std::chrono::nanoseconds answerTimeout = std::chrono::seconds(2);
    Secrets secrets = Secrets::kHidden;
  };

  struct Counts {
    std::uint64_t sent = 0;      // records
    std::uint64_t received = 0;  // frames
    std::uint64_t expected = 0;  // of those, as they were recorded
  };

  // Throws Failure where the file cannot be read. loop: outlives the replayer.
  Replayer(LinkLoop& loop, Address address, Options options);

  // observer: is there while the loop runs.
  void addObserver(TrafficObserver& observer) { observers_.push_back(&observer); }

  // Begins; the loop is stopped at the end.
  void start() { link_.open(); }

  // Throws Failure where it did not come to its end: kLink or kExpectation. False where something
  // in the file could not be read.
  bool finish();

  const Counts& counts() const { return counts_; }

 private:
  void openFile();
  LinkHandlers handlers();
  void onStatus(const LinkStatus& status);
  void onBytes(std::span<const std::uint8_t> bytes);
  void goOn();
  bool advance();
  bool nextRecord();
  bool isOurs() const;
  bool sendRecord();
  bool matchAnswer();
  void awaitEnter();
  void fail(int code, const std::string& message);
  void show(Direction direction, std::span<const std::uint8_t> bytes);

  LinkLoop& loop_;
  const Options options_;
  PacketDirectory directory_;
  ReplaySchedule schedule_;
  std::unique_ptr<RecordSource> source_;
  std::uint64_t timesRead_ = 0;
  std::uint64_t sentBefore_ = 0;  // when the file was opened
  bool isWhole_ = true;

  TrafficRecord record_;  // what is to be sent or to come next
  bool hasRecord_ = false;
  std::uint64_t recordNumber_ = 0;
  std::ptrdiff_t entered_ = 0;  // how often Enter was pressed ahead
  LinkTime begin_;
  std::optional<LinkTime> askedSince_;  // since when the answer is waited for

  FrameCutter cutter_;
  std::deque<std::vector<std::uint8_t>> answers_;
  std::vector<TrafficObserver*> observers_;
  Counts counts_;
  bool isRunning_ = false;
  bool isDone_ = false;
  int failureCode_ = 0;
  std::string failure_;
  LinkTimer timer_;
  std::unique_ptr<ReadableWatch> enter_;
  Link link_;
};

}  // namespace varno::tool
