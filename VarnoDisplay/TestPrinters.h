#pragma once

#include <VarnoDisplay/StateChange.h>
#include <VarnoTraffic/Notation.h>
#include <VarnoTraffic/PacketComparison.h>

#include <concepts>
#include <ostream>

// How GoogleTest prints packets, records and a display's state where an expectation fails: packets
// field by field, in the one-line notation, with secrets hidden. An application's tests include
// this; it needs nothing of GoogleTest.

namespace varno {

// NOLINTBEGIN(readability-identifier-naming): the name that GoogleTest looks for

template <std::derived_from<HudPacket> Packet>
void PrintTo(const Packet& packet, std::ostream* stream) {
  *stream << notationOf(packet);
}

inline void PrintTo(const TrafficRecord& record, std::ostream* stream) {
  *stream << notationOf(record);
}

inline void PrintTo(const StateChange& change, std::ostream* stream) { *stream << change.text(); }

inline void PrintTo(const DisplayState& state, std::ostream* stream) { *stream << jsonOf(state); }

// NOLINTEND(readability-identifier-naming)

}  // namespace varno
