#pragma once

#include <VarnoNetwork/Export.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What passed over a link, as values.

namespace varno {

// Which way something went, whoever looks.
enum class Direction : std::uint8_t {
  kToDisplay,  // ">", from the phone to the display: commands and notifications
  kToPhone,    // "<", from the display to the phone: events
};

// What a record tells of. The first five are pieces of a stream of bytes, as a FrameCutter names
// them; the others are what else happened.
enum class RecordKind : std::uint8_t {
  kFrame,     // from STX to ETX, both included; whether a packet is in it is another question
  kNoise,     // bytes outside any frame
  kTorn,      // a frame that another one's STX, or the stream's end, cut off
  kShort,     // a frame of fewer bytes than the shortest
  kLong,      // a part of a frame that has more bytes than its receiver keeps
  kLinkUp,    // the link came up
  kLinkDown,  // the link went down; the note says why
  kFault,     // a fault was put in on purpose: bytes, where there are any, passed as they are here
  kNote,      // a remark
};

inline constexpr std::array kRecordKinds = {
    RecordKind::kFrame,    RecordKind::kNoise, RecordKind::kTorn,
    RecordKind::kShort,    RecordKind::kLong,  RecordKind::kLinkUp,
    RecordKind::kLinkDown, RecordKind::kFault, RecordKind::kNote};

// The words for them, the same in all text: ">" and "<"; "frame", "noise", "torn", "short", "long",
// "link up", "link down", "fault" and "note".
VARNO_EXPORT std::string_view directionText(Direction direction) noexcept;
VARNO_EXPORT std::string_view recordKindText(RecordKind kind) noexcept;

// What the words mean; none for any other text.
VARNO_EXPORT std::optional<Direction> directionFromText(std::string_view text) noexcept;
VARNO_EXPORT std::optional<RecordKind> recordKindFromText(std::string_view text) noexcept;

// Whether a record of the kind may have bytes: not where the link comes up or goes down, nor with a
// remark.
VARNO_EXPORT bool mayHaveBytes(RecordKind kind) noexcept;

// What is wrong with a record of the kind, as "outside any frame"; empty where the kind tells of
// nothing wrong.
VARNO_EXPORT std::string_view recordKindProblem(RecordKind kind) noexcept;

// One thing that passed over a link or happened to it. The bytes of the records of one direction,
// put together, are what passed in that direction, byte for byte. A value.
struct TrafficRecord {
  std::optional<std::int64_t> time = {};  // nanoseconds since the epoch; none where it is not known
  std::optional<Direction> direction = {};  // none where it is not known, or where both are meant
  RecordKind kind = RecordKind::kFrame;
  std::vector<std::uint8_t> bytes = {};  // as on the wire, with their stuffing
  std::string note = {};                 // for people, in UTF-8; empty for none

  bool operator==(const TrafficRecord&) const = default;
};

}  // namespace varno
