#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoTraffic/Notation.h>
#include <VarnoTraffic/TrafficRecord.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// Faults that are put into a stream on purpose, and their text: the kind, and its parameters by
// name in any order.
//
//   latency delay=T [jitter=T]  each frame leaves T later, give or take up to the jitter
//   bandwidth rate=N            frames leave at no more than N bytes a second
//   slicer size=N [delay=T]     frames leave in pieces of N bytes, T apart
//   stall for=T                 nothing leaves for T, from the frame on that begins it
//   drop                        the frame is left out
//   duplicate                   the frame leaves twice
//   corrupt [byte=N] [bit=N]    one bit of the frame is turned over: bit 0 is the lowest; byte 0 is
//                               the frame's STX, and the bytes are those on the wire. Any of them
//                               where none is named
//   tear [bytes=N]              only the first N bytes of the frame leave; without N any number but
//                               none and all
//   noise bytes=N               N bytes, none of which is STX, leave before the frame
//   limit bytes=N               the link is closed when N bytes have left, in the middle of a frame
//                               if need be
//   reset                       the link is reset instead of the frame
//
// T is a length of time (see Duration.h). Every kind takes two more: count=N, that it acts on N
// frames at most, and chance=P, from 0 (on none) to 1 (on each), with up to nine decimals.

namespace varno {

enum class FaultKind : std::uint8_t {
  kLatency,
  kBandwidth,
  kSlicer,
  kStall,
  kDrop,
  kDuplicate,
  kCorrupt,
  kTear,
  kNoise,
  kLimit,
  kReset,
};

inline constexpr std::array kFaultKinds = {
    FaultKind::kLatency, FaultKind::kBandwidth, FaultKind::kSlicer,  FaultKind::kStall,
    FaultKind::kDrop,    FaultKind::kDuplicate, FaultKind::kCorrupt, FaultKind::kTear,
    FaultKind::kNoise,   FaultKind::kLimit,     FaultKind::kReset};

// The kind's word, as "latency"; its parameters, as "delay=T [jitter=T]"; and what it does, in a
// few words for a menu or a help text.
VARNO_EXPORT std::string_view faultKindText(FaultKind kind) noexcept;
VARNO_EXPORT std::string faultParametersText(FaultKind kind);
VARNO_EXPORT std::string_view faultSummary(FaultKind kind) noexcept;

// A fault: its kind, and those of the parameters that it is given. A value.
struct Fault {
  using Time = std::optional<std::chrono::nanoseconds>;
  using Number = std::optional<std::uint64_t>;

  FaultKind kind = FaultKind::kDrop;
  Time delay = {};     // latency, slicer
  Time jitter = {};    // latency
  Time duration = {};  // stall; its name in text is "for"
  Number rate = {};    // bandwidth: bytes a second, not 0
  Number size = {};    // slicer: bytes, not 0
  Number bytes = {};   // tear, noise, limit; not 0
  Number byte = {};    // corrupt
  Number bit = {};     // corrupt: 0 to 7
  Number count = {};   // how many frames it acts on at most
  // In how many of a billion cases it acts.
  std::uint32_t chance = kCertain;

  static constexpr std::uint32_t kCertain = 1'000'000'000;

  bool operator==(const Fault&) const = default;
};

// A fault in one direction, or in both.
struct DirectedFault {
  std::optional<Direction> direction = {};
  Fault fault = {};

  bool operator==(const DirectedFault&) const = default;
};

// Reads the text of a fault, all of it; none, with the error, where it cannot be understood. With a
// direction: "< corrupt byte=7"; without one, both are meant.
VARNO_EXPORT std::optional<Fault> faultFromText(std::string_view text, NotationError& error);
VARNO_EXPORT std::optional<DirectedFault> directedFaultFromText(std::string_view text,
                                                                NotationError& error);

// The text that reads back the same.
VARNO_EXPORT std::string faultText(const Fault& fault);
VARNO_EXPORT std::string faultText(const DirectedFault& fault);

// What is wrong with the fault, as "corrupt: bit is to be from 0 to 7"; empty where nothing is.
// What was read from text has nothing wrong.
VARNO_EXPORT std::string faultProblem(const Fault& fault);

}  // namespace varno
