#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoNetwork/Network/HudPacket.h>
#include <VarnoTraffic/NotationVariables.h>
#include <VarnoTraffic/PacketDirectory.h>
#include <VarnoTraffic/Secrets.h>
#include <VarnoTraffic/TrafficRecord.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

// One packet, or one traffic record, as one line of text:
//
//   (1500000000.003000000) > KeepAliveCommandPacket
//   (1500000000.104000000) < WifiStationStatusEventPacket eventType=1 ipAddress="10.0.0.7"  # note
//   (1500000000.105000000) < raw 02 7D 7E 63 63 03
//   (1500000000.106000000) < noise FF 41
//   link down # cable
//
// In this order: the time in seconds, with up to nine decimals; the direction; the packet, or the
// kind of the record and its bytes; the note. The packet alone has to be there.
//
// A packet is its type's name, which may be cut (see PacketDirectory::find), and its fields by name
// in any order; a field that is not named keeps its default.
//
//   number    decimal, or hexadecimal with 0x. Hexadecimal is the field's bits: in a signed field
//   of
//             32 bits 0xFFFFFFFF is -1. Printed in decimal.
//   float     printed as the shortest text that reads back the same; inf, -inf, nan, and
//             nan(0x7FC00001) for a NaN of other bits than the usual one
//   boolean   true, false, 1, 0
//   string    in double quotes, with \" \\ \n and \xNN, which is one byte. The quotes may be left
//             away where the value has no blank, quote or '#' and is not empty. null is the absent
//             one.
//   set       ["a","b"]
//   list      [1,2,3]
//   record    its fields dotted: soundDevice.name="Car"; in a list {name="Car" isConnected=true}
//
// raw, noise, torn, short and long take bytes in hex; fault may. link up, link down and note take
// none. A note ends with the line; in it \\, \n and \xNN are escapes. What follows "#:" is the
// printer's own remark, which reading drops.

namespace varno {

// Why a line could not be read.
struct NotationError {
  std::size_t column = 1;  // in bytes, from 1 on; behind the last one where something is missing
  std::string found;       // what stands there; empty at the end of the line
  std::string expected;    // what would have been understood there
  std::string
      nearest;  // of the names that would have been, the one that is most like it, or several

  // As `column 5: found "KeepAlvie", expected a packet type (nearest: KeepAliveCommandPacket)`.
  VARNO_EXPORT std::string text() const;

  // The line, or of a long one what is around the column, with a caret in a second line below it.
  VARNO_EXPORT std::string pointTo(std::string_view line) const;
};

// Prints records and packets, each as one line without its end. Its memory is used again: one
// thread at a time.
class VARNO_EXPORT NotationPrinter {
 public:
  explicit NotationPrinter(Secrets secrets = Secrets::kHidden, PacketDirectory directory = {});
  NotationPrinter(NotationPrinter&&) noexcept;
  NotationPrinter& operator=(NotationPrinter&&) noexcept;
  ~NotationPrinter();

  // Appends the record. Read again, the line is the record again, bytes included, but for what is
  // hidden. So a frame that the packet in it would not write is printed as raw, with the packet as
  // remark and with what is wrong: bytes behind the last field, a boolean other than 0 or 1,
  // stuffing where none is needed, a version event, an unknown id, damage. Of such a frame
  // everything from the first secret on is hidden, as it may be part of it. So are the bytes
  // outside any frame behind a piece of a packet that may have secrets, record after record.
  void append(std::string& text, const TrafficRecord& record);

  // Appends the packet with all its fields, those that its frame does not carry included. Read
  // again, the line is a packet that writes the same frame, but for what is hidden.
  void append(std::string& text, const HudPacket& packet);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// The line of one packet or record: a NotationPrinter for it alone, which takes a while to make.
VARNO_EXPORT std::string notationOf(const HudPacket& packet, Secrets secrets = Secrets::kHidden);
VARNO_EXPORT std::string notationOf(const TrafficRecord& record,
                                    Secrets secrets = Secrets::kHidden);

// Reads lines. Any number of threads may use it. What is hidden in a line (***, **) is an error, as
// is a name or field that is unknown or stands twice, and a number that its field cannot hold.
class VARNO_EXPORT NotationReader {
 public:
  explicit NotationReader(PacketDirectory directory = {});

  // Reads one line into the record; of a packet, its frame. False, with the error, where it cannot
  // be understood; the record is then unspecified. Throws nothing but std::bad_alloc and what an
  // application's packet type throws when it is written.
  bool read(std::string_view line, TrafficRecord& record, NotationError& error) const;

  // The same for a line with variables. isIncomplete: whether the value of one of them is known
  // only later, so that the record is not yet what is meant; null where nobody minds.
  bool read(std::string_view line, const NotationVariables& variables, TrafficRecord& record,
            NotationError& error, bool* isIncomplete = nullptr) const;

  // Reads a line of a packet alone: type and fields, and a note. Null, with the error, where it
  // cannot be understood.
  std::shared_ptr<HudPacket> readPacket(std::string_view line, NotationError& error) const;

  // Whether the line has nothing to be read: it is blank, or all of it is a note.
  static bool isBlank(std::string_view line) noexcept;

  const PacketDirectory& directory() const { return directory_; }

 private:
  bool read(std::string_view line, const NotationVariables* variables, TrafficRecord& record,
            NotationError& error, bool* isIncomplete) const;

  PacketDirectory directory_;
};

}  // namespace varno
