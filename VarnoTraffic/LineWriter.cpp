#include <VarnoTraffic/LineWriter.h>

#include <ostream>
#include <utility>

namespace varno {

LineWriter::LineWriter(std::ostream& output, NotationPrinter printer)
    : output_(output), printer_(std::move(printer)) {}
LineWriter::LineWriter(std::ostream& output, JsonPrinter printer)
    : output_(output), printer_(std::move(printer)) {}
LineWriter::~LineWriter() = default;

bool LineWriter::write(const TrafficRecord& record) {
  refuseStrayBytes(record);
  if (!isGood_) return false;
  line_.clear();
  std::visit([&](auto& printer) { printer.append(line_, record); }, printer_);
  line_ += '\n';
  isGood_ = output_.write(line_.data(), static_cast<std::streamsize>(line_.size())).good();
  return isGood_;
}

bool LineWriter::flush() {
  if (isGood_) isGood_ = output_.flush().good();
  return isGood_;
}

}  // namespace varno
