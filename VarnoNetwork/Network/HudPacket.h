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

// The base of every packet type. The five operations of IHudPacket throw "Not yet implemented"
// here, and in the family bases those that they do not override. Packet types are written with
// TypedPacket.
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

  // Appends the packet's frame to the stream. An exception leaves a part of the frame there.
  void serialize(HudOutputStream& stream) const { appendFrame(stream); }

  // Writes the bytes to the log, eight a line, between "<label> Dump start" and "<label> Dump end".
  // On any thread; the lines of two dumps at the same time may mix.
  // Absent bytes (a null pointer) count as none.
  static void hexDump(std::string_view label, std::span<const std::uint8_t> bytes) noexcept;
  static void hexDump(std::string_view label, const std::uint8_t* buffer,
                      std::uint64_t length) noexcept;

  // The wire order of a type without payload. Types with fields hide it with their own.
  template <class Self, class Visit>
  static void fields(Self&, Visit&) {}

 protected:
  // Does the work of serialize. Typed packets override it to spare the virtual calls.
  virtual void appendFrame(HudOutputStream& stream) const;

  // Protected, here and in the family bases: copying only this part of a packet would lose its
  // fields. Copying an object of a class derived from a packet type as that packet type still does.
  HudPacket(const HudPacket&) = default;
  HudPacket& operator=(const HudPacket&) = default;

  // A description from its format, whose first placeholder is the packet's own type name.
  template <class... Arguments>
  std::string describe(FormatPattern<std::string_view, std::type_identity_t<Arguments>...> format,
                       const Arguments&... arguments) const {
    return formatText<std::string_view, Arguments...>(format, typeName(), arguments...);
  }
};

// The packet as text for a log that others see: the description; or, if the packet has fields named
// by visit.secret, what the default description would show, with *** in place of their values.
// Passed through HudLog::printableLine.
VARNO_EXPORT std::string loggable(const HudPacket& packet);

// The packet's whole frame. Throws what the packet's own writing operations throw.
VARNO_EXPORT std::vector<std::uint8_t> frameOf(const HudPacket& packet);

// Prints the description.
VARNO_EXPORT std::ostream& operator<<(std::ostream& stream, const HudPacket& packet);

}  // namespace varno
