#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoTraffic/TrafficRecord.h>

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

namespace varno {

// Something in an input that could not be read as what it was to be. Reading goes on behind it.
struct ReadWarning {
  // Where: in a binary input the offset of a byte, from 0 on; in a text the number of a line, from
  // 1 on, and isLine.
  std::uint64_t position = 0;
  bool isLine = false;
  std::string reason;  // a sentence without full stop, for people

  // As "at byte 24: reason" or "in line 3: reason".
  VARNO_EXPORT std::string text() const;
};

// Reads records from an input, one after the other, in whatever form they are written there. Holds
// no more of the input than one record takes. One thread at a time.
class VARNO_EXPORT RecordReader {
 public:
  // Called inside next() for each warning, in the order of the input.
  using OnWarning = std::function<void(const ReadWarning&)>;

  RecordReader() = default;
  virtual ~RecordReader();
  RecordReader(const RecordReader&) = delete;
  RecordReader& operator=(const RecordReader&) = delete;

  // Reads the next record into `record`, whose memory is used again; false once the input has
  // ended, after which the record is unspecified. Waits only where the input does. What is damaged
  // is skipped with a warning; throws only std::bad_alloc, what the input's stream buffer throws,
  // and what onWarning throws.
  virtual bool next(TrafficRecord& record) = 0;

  // Replaces the function; without one, warnings are only counted.
  void setOnWarning(OnWarning onWarning) { onWarning_ = std::move(onWarning); }

  // How many warnings there were.
  std::uint64_t warnings() const { return warnings_; }

 protected:
  void warn(const ReadWarning& warning);

 private:
  OnWarning onWarning_;
  std::uint64_t warnings_ = 0;
};

// Writes records to an output, one after the other. One thread at a time.
class VARNO_EXPORT RecordWriter {
 public:
  RecordWriter() = default;
  virtual ~RecordWriter();
  RecordWriter(const RecordWriter&) = delete;
  RecordWriter& operator=(const RecordWriter&) = delete;

  // Writes the record whole and hands it to the output's stream, without flushing that. False once
  // the stream has failed, as where a disk is full: then nothing is written any more, by this call
  // or a later one. Throws InvalidArgumentException for a record that must not be: one with bytes
  // though its kind has none.
  virtual bool write(const TrafficRecord& record) = 0;

  // Has the output's stream hand on what it holds. False once the stream has failed.
  virtual bool flush() = 0;

 protected:
  // Throws the exception of `write`.
  static void refuseStrayBytes(const TrafficRecord& record);
};

}  // namespace varno
