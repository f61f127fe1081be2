#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// How records stand in a pcapng file, for those who write and read it.
//
//   two interfaces, phone-to-display and display-to-phone, in this order; of link type 147, with
//   times in nanoseconds. A record without direction stands on the first.
//   a record is an enhanced packet block. Its flags say the direction as the display sees it, and
//   what is not a whole frame by an error bit. Its note is the comment. A record without time has
//   the time 0.
//   what has no bytes of its own, and a fault that has none, is a packet of no bytes, without an
//   error bit, whose comment begins with the kind's word: "link down", or "link down: the reason".
//   Every tool shows that, counts it and keeps it.
//   a record of more bytes than other programs accept in a packet is several packets in a row, of
//   one time and interface: all but the last have the error bit kGoesOn. The first has the note.
namespace varno::pcapng {

inline constexpr std::uint32_t kSectionHeader = 0x0A0D0D0A;  // the same in either byte order
inline constexpr std::uint32_t kInterface = 1;
inline constexpr std::uint32_t kObsoletePacket = 2;
inline constexpr std::uint32_t kSimplePacket = 3;
inline constexpr std::uint32_t kEnhancedPacket = 6;

inline constexpr std::uint32_t kByteOrderMagic = 0x1A2B3C4D;

inline constexpr std::uint16_t kEndOfOptions = 0;
inline constexpr std::uint16_t kComment = 1;
inline constexpr std::uint16_t kApplication = 4;     // of a section
inline constexpr std::uint16_t kInterfaceName = 2;   // of an interface
inline constexpr std::uint16_t kTimeResolution = 9;  // of an interface
inline constexpr std::uint16_t kTimeOffset = 14;     // of an interface
inline constexpr std::uint16_t kPacketFlags = 2;     // of a packet

// Bits of a packet's flags.
inline constexpr std::uint32_t kDirectionMask = 0x3;
inline constexpr std::uint32_t kInbound = 1;   // to the display
inline constexpr std::uint32_t kOutbound = 2;  // to the phone
inline constexpr std::uint32_t kChecksumError = std::uint32_t{1}
                                                << 24;  // a fault put in on purpose
inline constexpr std::uint32_t kTooLong = std::uint32_t{1} << 25;
inline constexpr std::uint32_t kTooShort = std::uint32_t{1} << 26;
inline constexpr std::uint32_t kGoesOn = std::uint32_t{1} << 27;  // else a wrong gap between frames
inline constexpr std::uint32_t kUnaligned = std::uint32_t{1} << 28;       // torn
inline constexpr std::uint32_t kStartDelimiter = std::uint32_t{1} << 29;  // noise

inline constexpr std::uint16_t kLinkType = 147;         // USER0
inline constexpr std::uint16_t kOtherLinkType = 65001;  // read as well

inline constexpr std::string_view kToDisplayName = "phone-to-display";
inline constexpr std::string_view kToPhoneName = "display-to-phone";

// Wireshark and its tools refuse a file with a longer packet.
inline constexpr std::size_t kMaxPacketBytes = 262144;

// The length that a block, an option's value or a packet's bytes are filled up to.
constexpr std::size_t padded(std::size_t length) { return (length + 3) / 4 * 4; }

}  // namespace varno::pcapng
