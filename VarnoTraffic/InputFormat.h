#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoTraffic/RecordReader.h>

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <span>
#include <string_view>

namespace varno {

// The forms in which traffic is read.
enum class InputFormat : std::uint8_t {
  kPcapng,     // a capture file, as PcapngWriter and Wireshark write it
  kPcap,       // a capture file of the older format: recognized, but not read
  kJsonLines,  // an object a line
  kTextLines,  // a packet a line: "(1500000000.003000000) > KeepAlive"
  kHexDump,    // a log with the library's hex dumps in it, with anything before, between and behind
  kHexText,    // hex digits: "02 7D 7F 0F 00 03"
  kWire,       // the bytes of one stream as they were on the wire
};

// As "pcapng", "pcap", "JSON lines", "text lines", "hex dump", "hex text" and "wire bytes".
VARNO_EXPORT std::string_view inputFormatText(InputFormat format) noexcept;

// Tells an input by its first bytes. In this order:
//
// - pcapng and pcap by the numbers that such files begin with.
// - Wire bytes have a control character (STX and ETX are some) that a text has not: one below 20
//   other than tab, line feed, form feed, carriage return and ESC.
// - Of a text the first line decides that is neither blank nor a comment, which begins with "#":
//   a hex dump has a row or a label of one, in JSON, too; JSON lines begin with "{"; a text line
//   begins with a time in parentheses, with "> " or "< ", or with the name of a packet type or
//   "raw", and looks like one behind that; hex text has nothing but hex digits in pairs and what
//   separates them.
// - Any other text is a log, which may have hex dumps further on. A text without such a line is
//   text lines, and an empty input is wire bytes.
//
// beginning: at least the first such line, as far as the input has one; what lies behind is not
// looked at, nor anything behind the first 4,096 bytes.
VARNO_EXPORT InputFormat recognizeInput(std::span<const std::uint8_t> beginning);

// A reader for the input, whatever its form: waits for its first bytes and recognizes them. input:
// binary; outlives the reader. Throws InvalidArgumentException for a form that is not read.
VARNO_EXPORT std::unique_ptr<RecordReader> openRecords(std::istream& input);

// The same for an input whose form is known.
VARNO_EXPORT std::unique_ptr<RecordReader> openRecords(std::istream& input, InputFormat format);

}  // namespace varno
