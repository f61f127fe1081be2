#include <VarnoTraffic/RecordReader.h>

namespace varno {

std::string ReadWarning::text() const {
  return (isLine ? "in line " : "at byte ") + std::to_string(position) + ": " + reason;
}

RecordReader::~RecordReader() = default;

void RecordReader::warn(const ReadWarning& warning) {
  ++warnings_;
  if (onWarning_) onWarning_(warning);
}

RecordWriter::~RecordWriter() = default;

}  // namespace varno
