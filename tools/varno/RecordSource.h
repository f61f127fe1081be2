#pragma once

#include "tools/varno/FileBuffers.h"

#include <VarnoTraffic/InputFormat.h>
#include <VarnoTraffic/RecordReader.h>

#include <chrono>
#include <functional>
#include <istream>
#include <memory>
#include <optional>
#include <string>

namespace varno::tool {

// The records of one input file. Shows on a terminal how far a long one was read, and tells its
// warnings.
class RecordSource {
 public:
  // format: by the first bytes where there is none. output: see setOutput; null for none yet.
  // Throws Failure, as next() does.
  RecordSource(const std::string& path, std::optional<InputFormat> format, OutputFile* output);
  ~RecordSource();

  // The output is flushed before the input is waited for and, on a terminal, before a warning is
  // told. It outlives the source.
  void setOutput(OutputFile& output) { output_ = &output; }

  bool next(TrafficRecord& record) { return reader_->next(record); }

  // At the end: tells how many warnings were not shown. False where something could not be read.
  bool isWhole();

 private:
  using Clock = std::chrono::steady_clock;

  std::uint64_t warnings() const { return reader_->warnings(); }
  void showProgress(std::uint64_t read, std::optional<std::uint64_t> size);
  void eraseProgress();

  OutputFile* output_;
  InputFile file_;
  std::istream stream_;
  std::unique_ptr<RecordReader> reader_;
  bool isShown_ = false;
  Clock::time_point begin_ = Clock::now();
  Clock::time_point shownLast_ = begin_;
};

}  // namespace varno::tool
