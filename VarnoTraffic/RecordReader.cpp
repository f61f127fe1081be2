#include <VarnoTraffic/RecordReader.h>

#include <VarnoNetwork/Network/HudException.h>

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

void RecordWriter::refuseStrayBytes(const TrafficRecord& record) {
  if (record.bytes.empty() || mayHaveBytes(record.kind)) return;
  throw InvalidArgumentException("A record of kind '" + std::string(recordKindText(record.kind)) +
                                 "' has no bytes");
}

}  // namespace varno
