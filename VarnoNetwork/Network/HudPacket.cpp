#include <VarnoNetwork/Network/HudException.h>
#include <VarnoNetwork/Network/HudLog.h>
#include <VarnoNetwork/Network/HudPacket.h>

#include <cctype>
#include <ostream>
#include <utility>

namespace varno {
namespace {

constexpr std::size_t kDumpRowBytes = 8;

// One line of a dump. The text column fills a short row with dots as well, which keeps the columns
// of all rows alike.
std::string dumpRow(std::span<const std::uint8_t> bytes, std::size_t offset) {
  std::string hex = formatText("%04X ", static_cast<std::uint32_t>(offset));
  std::string text = "  ";
  for (std::size_t at = offset; at < offset + kDumpRowBytes; ++at) {
    const bool isPresent = at < bytes.size();
    hex += isPresent ? formatText("%02X ", bytes[at]) : "   ";
    text += isPresent && std::isprint(bytes[at]) != 0 ? static_cast<char>(bytes[at]) : '.';
  }
  return hex + text;
}

}  // namespace

HudPacket::~HudPacket() = default;

std::uint8_t HudPacket::getCommand() const { throwNotYetImplemented(); }
std::uint8_t HudPacket::getParam1() const { throwNotYetImplemented(); }
std::uint8_t HudPacket::getParam2() const { throwNotYetImplemented(); }
void HudPacket::appendPayload(HudOutputStream& /*stream*/) const { throwNotYetImplemented(); }
bool HudPacket::parsePayload(HudInputStream& /*stream*/) { throwNotYetImplemented(); }

std::string_view HudPacket::typeName() const { return kTypeName; }
void HudPacket::visitFields(FieldVisitor& /*visitor*/) const {}
void HudPacket::editFields(FieldEditor& /*editor*/) {}

void HudPacket::appendFrame(HudOutputStream& stream) const {
  stream.directWrite(STX);
  stream.writeByte(getCommand());
  stream.writeByte(getParam1());
  stream.writeByte(getParam2());
  appendPayload(stream);
  stream.directWrite(ETX);
}

void HudPacket::hexDump(std::string_view label, std::span<const std::uint8_t> bytes) noexcept {
  try {
    HudLog::write(formatText("%@ Dump start", label));
    for (std::size_t offset = 0; offset < bytes.size(); offset += kDumpRowBytes) {
      HudLog::write(dumpRow(bytes, offset));
    }
    HudLog::write(formatText("%@ Dump end", label));
  } catch (...) {
    // Only memory can run out here, and a failing dump must not make its caller fail.
  }
}

void HudPacket::hexDump(std::string_view label, const std::uint8_t* buffer,
                        std::uint64_t length) noexcept {
  hexDump(label, std::span(buffer, buffer == nullptr ? 0 : static_cast<std::size_t>(length)));
}

std::vector<std::uint8_t> frameOf(const HudPacket& packet) {
  HudOutputStream stream;
  packet.serialize(stream);
  return std::move(stream).toNSData();
}

std::ostream& operator<<(std::ostream& stream, const HudPacket& packet) {
  return stream << packet.description();
}

}  // namespace varno
