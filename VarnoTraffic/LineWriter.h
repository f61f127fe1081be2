#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoTraffic/JsonLines.h>
#include <VarnoTraffic/Notation.h>
#include <VarnoTraffic/RecordReader.h>

#include <iosfwd>
#include <string>
#include <variant>

namespace varno {

// Writes each record as a line of text or of JSON, as the printer prints it.
class VARNO_EXPORT LineWriter : public RecordWriter {
 public:
  // output: outlives the writer.
  LineWriter(std::ostream& output, NotationPrinter printer);
  LineWriter(std::ostream& output, JsonPrinter printer);
  ~LineWriter() override;

  bool write(const TrafficRecord& record) override;
  bool flush() override;

 private:
  std::ostream& output_;
  bool isGood_ = true;
  std::variant<NotationPrinter, JsonPrinter> printer_;
  std::string line_;
};

}  // namespace varno
