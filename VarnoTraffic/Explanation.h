#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoTraffic/PacketDirectory.h>
#include <VarnoTraffic/Secrets.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace varno {

// What HudNetwork::handleRawPacket does with a frame.
enum class Verdict : std::uint8_t {
  kDelivered,  // a packet reaches the listeners
  kDropped,    // silently
  kRefused,    // with an exception
};

// "delivered", "dropped", "refused".
VARNO_EXPORT std::string_view verdictText(Verdict verdict) noexcept;

// A part of a frame.
struct FrameSpan {
  std::size_t offset = 0;           // in the frame
  std::vector<std::uint8_t> wire;   // as it stands there; never empty
  std::vector<std::uint8_t> bytes;  // without stuffing
  // "STX", "command", "param1", "param2", "ETX"; a field's path ("soundDevice.name"; the count of a
  // list by the list's); "payload" where the type reads it in its own way or is not known;
  // "unread".
  std::string name;
  std::string value;                 // as the one-line notation has it; empty where there is none
  std::vector<std::string> remarks;  // what is wrong or unusual in it: sentences without full stop
  bool isSecret = false;             // a password or key, or what may be a part of one
};

// A frame, byte for byte, and what becomes of it. Values and bytes are all in clear: what shows
// them to others minds isSecret.
struct Explanation {
  std::vector<FrameSpan> spans;  // put together, their wire bytes are the frame
  std::string typeName;          // empty where the type is not known
  // The packet's fields as the one-line notation has them, in clear as well; empty where no packet
  // is delivered.
  std::string fields;
  Verdict verdict = Verdict::kRefused;
  // Why it is not delivered: a sentence, as "payload ends inside timeZoneId: 3 bytes announced, 1
  // is there"; of a refused frame the exception, as "InvalidArgumentException: RawPacket should be
  // greater than 4.". Empty for a delivered one.
  std::string reason;
  // Where reading a refused frame anyhow stopped, and why: sentences.
  std::vector<std::string> remarks;
  bool isExact = false;  // whether the packet, written, is the frame again

  // The reason and every remark, each once; those of a field behind its name. With secrets hidden,
  // none tells what stands in a secret span.
  VARNO_EXPORT std::vector<std::string> sentences(Secrets secrets = Secrets::kHidden) const;

  // The spans as a table of five columns with a heading, then a line for each sentence and the
  // verdict. In one long span, bytes are left out ("..").
  VARNO_EXPORT std::string table(Secrets secrets = Secrets::kHidden) const;

  // Of every byte of the frame, whether it belongs to a secret.
  VARNO_EXPORT std::vector<bool> secretBytes() const;
};

// Explains any bytes at all as a frame: also what is torn, short or no frame. The verdict is that
// of a network with the directory's types. Throws nothing but std::bad_alloc. As every reading of a
// version event may, this may write "Invalid version string(...)" to the log.
VARNO_EXPORT Explanation explainFrame(std::span<const std::uint8_t> frame,
                                      const PacketDirectory& directory);

}  // namespace varno
