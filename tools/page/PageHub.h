#pragma once

#include "tools/page/PageServer.h"
#include "tools/page/RecordRing.h"
#include "tools/page/RecordText.h"
#include "tools/page/StateLog.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>

namespace varno::tool {

// What the tool tells the page, where its viewers find it.
struct PageHub {
  explicit PageHub(const PageOptions& options)
      : text(options.secrets), ring(options.maxRecords, options.maxBytes) {}

  std::string session;  // tells this run of the program from another one at the same address
  std::string hello;    // what a viewer is told first: a JSON object

  // Held while a record is added, and taken before `mutex`, which is held for a moment only.
  std::mutex addMutex;
  RecordText text;

  // Taken before `mutex`. Working out what changed is left to the viewers' threads: it takes long.
  std::mutex logMutex;
  StateLog log;

  // What is below is guarded by this one.
  std::mutex mutex;
  std::condition_variable changed;
  std::condition_variable stopped;
  RecordRing ring;
  std::deque<ToldState> told;                          // that are not yet in the log
  std::size_t toldBytes = 0;                           // that they hold
  std::uint64_t lastChange = 0;                        // in the log
  std::string status = R"({"links":[],"faults":[]})";  // as JSON
  std::uint64_t statusVersion = 1;
  std::deque<PageCommand> commands;
  std::size_t viewers = 0;
  bool isStopped = false;
};

}  // namespace varno::tool
