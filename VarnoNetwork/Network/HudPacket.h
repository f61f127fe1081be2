#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoNetwork/Network/FieldVisitor.h>
#include <VarnoNetwork/Network/HudOutputStream.h>
#include <VarnoNetwork/Network/IHudPacket.h>
#include <VarnoNetwork/Network/TextFormat.h>
#include <VarnoNetwork/Network/Wire.h>

#include <cstdint>
#include <iosfwd>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace varno {

// The base of every packet type. Its own five operations fail with "Not yet implemented", as those
// of its family bases do for what they leave open. Packet types are written with TypedPacket.
//
// A packet belongs to whoever made it; it holds no network, stream or frame. It takes no lock: one
// thread at a time may use it. A copy has the same values, but shares what the packet holds by
// shared_ptr, records and sets: both see later changes to these.
class VARNO_EXPORT HudPacket : public IHudPacket {
 public:
  static constexpr std::string_view kTypeName = "HudPacket";

  HudPacket() = default;
  ~HudPacket() override;

  std::uint8_t getCommand() const override;
  std::uint8_t getParam1() const override;
  std::uint8_t getParam2() const override;
  void appendPayload(HudOutputStream& stream) const override;
  bool parsePayload(HudInputStream& stream) override;

  // The name of the packet's own type, as "KeepAliveCommandPacket".
  virtual std::string_view typeName() const;

  // The packet as text for logs: "WifiStationStatusEventPacket[...]". Everything in it is shown in
  // clear, passwords and keys included; see `loggable`. The default shows the fields by their
  // names, as "%@[a : %d b : %@]", those of a record likewise, and at most five elements of a set
  // or list.
  virtual std::string description() const;

  // What stands between the fields there: a blank, or a type's own kFieldSeparator.
  virtual std::string_view fieldSeparator() const;

  // Walk the packet's fields by name, those of irregular payloads included.
  virtual void visitFields(FieldVisitor& visitor) const;
  virtual void editFields(FieldEditor& editor);

  // Appends the packet's frame to what the stream holds. What fails on the way leaves a part of the
  // frame there.
  void serialize(HudOutputStream& stream) const { appendFrame(stream); }

  // Writes the bytes to the log, eight a line, between "<label> Dump start" and "<label> Dump end".
  // On any thread; the lines of two dumps at the same time may mix.
  // Absent bytes (a null pointer) count as none.
  static void hexDump(std::string_view label, std::span<const std::uint8_t> bytes) noexcept;
  static void hexDump(std::string_view label, const std::uint8_t* buffer,
                      std::uint64_t length) noexcept;

  // The wire order of a type without payload. Types with fields hide it by their own.
  template <class Self, class Visit>
  static void fields(Self&, Visit&) {}

 protected:
  // What serialize does: by a virtual call for each operation here, without in typed packets.
  virtual void appendFrame(HudOutputStream& stream) const;

  // This and the families cannot be copied by themselves, which would leave the fields behind. A
  // class derived from a packet type can still lose its own so.
  HudPacket(const HudPacket&) = default;
  HudPacket& operator=(const HudPacket&) = default;

  // A description from its format, whose first placeholder is the packet's own type name.
  template <class... Arguments>
  std::string describe(FormatPattern<std::string_view, std::type_identity_t<Arguments>...> format,
                       const Arguments&... arguments) const {
    return formatText<std::string_view, Arguments...>(format, typeName(), arguments...);
  }
};

// The packet as text that may be written to a log others see: the description, or, where the packet
// has fields named by visit.secret, what the default description would show, with *** in their
// place. Passed through HudLog::printableLine.
VARNO_EXPORT std::string loggable(const HudPacket& packet);

// The packet's whole frame. Throws what the packet's own writing operations throw.
VARNO_EXPORT std::vector<std::uint8_t> frameOf(const HudPacket& packet);

// Prints the description.
VARNO_EXPORT std::ostream& operator<<(std::ostream& stream, const HudPacket& packet);

}  // namespace varno
