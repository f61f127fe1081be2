#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoTraffic/RecordReader.h>

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>

namespace varno {

// Writes records as a capture file, pcapng, which Wireshark and its tools read as it is: the link
// type is USER0 (147); there are two interfaces, "phone-to-display" and "display-to-phone"; one
// packet is one record, with its direction as the display sees it, its time in nanoseconds, what
// was wrong with it as a link-layer error, and its note as the comment. Captures hold what passed,
// passwords and keys included.
//
// What the format cannot tell: a time before 1970 and the time 0 are written as not known; a note
// is cut after 65,000 bytes, between two characters. A record of more than 262,144 bytes, which
// Wireshark takes for damage, becomes several packets in a row, and one record again when read.
//
// The file is complete after each record. Each block is handed to the stream in one call, and it is
// the stream that decides when it goes further: an owner who wants that a process which is killed
// loses nothing calls flush() when it has nothing more to write just now.
class VARNO_EXPORT PcapngWriter : public RecordWriter {
 public:
  // output: binary; outlives the writer. Writes the file's beginning at once.
  explicit PcapngWriter(std::ostream& output);
  ~PcapngWriter() override;

  bool write(const TrafficRecord& record) override;
  bool flush() override;

 private:
  VARNO_INTERNAL void beginBlock(std::uint32_t type);
  VARNO_INTERNAL void appendNumber(std::uint64_t value, std::size_t bytes);
  VARNO_INTERNAL void appendPadded(std::string_view bytes);
  VARNO_INTERNAL void appendOption(std::uint16_t code, std::string_view value);
  VARNO_INTERNAL void endBlock();
  VARNO_INTERNAL void appendInterface(std::string_view name);
  VARNO_INTERNAL bool writeOut();

  std::ostream& output_;
  bool isGood_ = true;
  std::string block_;  // the blocks that are written next
  std::size_t blockStart_ = 0;
};

}  // namespace varno
