#include "RecordSupport.h"

// Takes an input for how much of a capture is there, and the capture. What is read of it has to be
// the same after it was written, and of the capture's front a front has to be read.

namespace varno::fuzz {
namespace {

// What a capture cannot tell apart, or would cut.
void simplify(TrafficRecord& record) {
  if (record.time.value_or(0) <= 0) record.time.reset();
  if (record.note.size() > 60000) record.note.clear();
}

}  // namespace
}  // namespace varno::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace varno;
  using namespace varno::fuzz;
  Script script({data, size});
  const auto missing = script.number<std::uint16_t>();
  const std::size_t chunk = 1 + script.choice(64);
  const ByteSpan file = script.bytes(size);
  const std::string capture(file.begin(), file.end());

  ReadResult whole = readAll(capture, InputFormat::kPcapng, chunk);
  const std::string front =
      capture.substr(0, capture.size() - std::min<std::size_t>(missing, capture.size()));
  const ReadResult begun = readAll(front, InputFormat::kPcapng, chunk);
  require(begun.records.size() <= whole.records.size() &&
              std::equal(begun.records.begin(), begun.records.end(), whole.records.begin()),
          "records of a file that breaks off");

  std::ostringstream written;
  PcapngWriter writer(written);
  for (TrafficRecord& record : whole.records) {
    simplify(record);
    require(writer.write(record), "a record is written");
  }
  const ReadResult again = readAll(written.str(), InputFormat::kPcapng, chunk);
  require(again.records == whole.records, "records that were written");
  require(again.warnings.empty(), "what is written is sound");
  return 0;
}
