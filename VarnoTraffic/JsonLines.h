#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoTraffic/Notation.h>
#include <VarnoTraffic/PacketDirectory.h>
#include <VarnoTraffic/Secrets.h>
#include <VarnoTraffic/TrafficRecord.h>

#include <memory>
#include <string>
#include <string_view>

// Traffic records as lines of JSON, for programs:
//
//   {"time":"1500000000.104000000","direction":"<","kind":"frame",
//    "type":"WifiStationStatusEventPacket","fields":{"eventType":1,"errorMessage":""},
//    "frame":"027D7E..."}
//
// (one line). In this order, and left out where there is nothing to say:
//
//   time, direction   as in the one-line notation
//   kind              always: a RecordKind's word
//   type, fields      of a frame whose type is known; fields of one that holds a packet
//   frame             always, of a frame: its bytes in hex. Of other kinds: bytes
//   problems          an array of sentences: why it holds no packet, or what is unusual in it
//   note
//
// Records are objects, lists and sets arrays; 64-bit integers, inf and nan are strings, as is what
// is null where absent. Fields that the frame does not carry are told where the packet, written, is
// not the frame again.

namespace varno {

// Prints records, each as one line without its end. Its memory is used again: one thread at a time.
class VARNO_EXPORT JsonPrinter {
 public:
  // Of hidden secrets, "***" stands for a value and "**" for each byte of the frame; of a frame
  // that its packet would not write everything from the first secret on is hidden, as it may be
  // part of it.
  explicit JsonPrinter(Secrets secrets = Secrets::kHidden, PacketDirectory directory = {});
  JsonPrinter(JsonPrinter&&) noexcept;
  JsonPrinter& operator=(JsonPrinter&&) noexcept;
  ~JsonPrinter();

  void append(std::string& text, const TrafficRecord& record);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// Reads lines. Any number of threads may use it.
class VARNO_EXPORT JsonReader {
 public:
  explicit JsonReader(PacketDirectory directory = {});

  // Reads one line into the record. A frame may be told by `frame`, by `type` and `fields`, or by
  // both, which then have to agree; fields that are not named have their defaults. False, with the
  // error, where the line cannot be understood, has a key that is unknown or stands twice, or has
  // hidden bytes; the record is then unspecified. `problems` are not looked at.
  bool read(std::string_view line, TrafficRecord& record, NotationError& error) const;

 private:
  PacketDirectory directory_;
};

}  // namespace varno
