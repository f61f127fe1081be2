// Writes docs/protocol-reference.md: every packet type of the library, from the catalogue alone.
//   protocol_reference FILE

#include <VarnoNetwork/VarnoNetwork.h>

#include <fstream>
#include <iostream>
#include <stdexcept>

namespace {

using varno::FieldInfo;
using varno::formatText;
using varno::HudPacket;
using varno::HudString;
using varno::PacketType;

constexpr std::string_view kIntroduction = R"(# Protocol reference

Every packet type of the library. This page is generated from the packet types themselves. After a
change of one, this command writes it anew, and the tests fail until it has run:

    scripts/build.sh release update_protocol_reference

A frame is `02`, the command, param1, param2, the payload's fields in the order given here, `03`. The
[wire format](wire-format.md) tells how [values](wire-format.md#values) are encoded, and how the bytes
between the marks are [stuffed](wire-format.md#stuffing).

The defaults are those of a packet as it is constructed, which is also what a packet is parsed into.
The example is the frame of such a packet.
)";

std::string_view directionOf(std::uint8_t command) {
  switch (command) {
    case 1:
    case 2: return "phone to display";
    case 3: return "display to phone";
    default: return "the application's own";
  }
}

template <class Value>
std::string_view encodingOf() {
  if (std::is_same_v<Value, bool>) return "boolean";
  if (std::is_same_v<Value, std::uint8_t>) return "unsigned 8-bit";
  if (std::is_same_v<Value, std::int16_t>) return "signed 16-bit";
  if (std::is_same_v<Value, std::int32_t>) return "signed 32-bit";
  if (std::is_same_v<Value, std::int64_t>) return "signed 64-bit";
  if (std::is_same_v<Value, std::uint16_t>) return "unsigned 16-bit";
  if (std::is_same_v<Value, std::uint32_t>) return "unsigned 32-bit";
  if (std::is_same_v<Value, std::uint64_t>) return "unsigned 64-bit";
  if (std::is_same_v<Value, float>) return "32-bit float";
  if (std::is_same_v<Value, double>) return "64-bit float";
  return std::is_same_v<Value, HudString> ? "string" : "set of strings";
}

template <class Value>
std::string textOf(const Value& value) {
  if constexpr (std::is_same_v<Value, bool>) {
    return value ? "true" : "false";
  } else if constexpr (std::is_floating_point_v<Value>) {
    return formatText("%f", value);
  } else if constexpr (std::is_integral_v<Value>) {
    return std::to_string(value);
  } else if constexpr (std::is_same_v<Value, HudString>) {
    return value ? '"' + *value + '"' : "absent";
  } else {
    std::string list;
    for (const std::string& text : value) list += (list.empty() ? "\"" : ", \"") + text + '"';
    return '{' + list + '}';
  }
}

// A table row for each field.
std::string fieldRows(const HudPacket& packet) {
  std::string rows;
  forEachField(packet, [&](const FieldInfo& field, const auto& value) {
    const std::string_view encoding = encodingOf<std::remove_cvref_t<decltype(value)>>();
    rows += formatText("| `%@` | %@ | `%@` |\n", field.path(),
                       field.isOnWire ? encoding : "see the note", textOf(value));
  });
  return rows;
}

std::string exampleOf(const HudPacket& packet) {
  std::string text;
  for (const std::uint8_t byte : frameOf(packet)) text += formatText(" %02X", byte);
  return text.substr(1);
}

std::string overviewOf(PacketType type) {
  const auto [command, param1, param2] = type.identifiers();
  std::string anchor;
  for (const char letter : type.name()) {
    const bool isCapital = letter >= 'A' && letter <= 'Z';
    anchor += isCapital ? static_cast<char>(letter - 'A' + 'a') : letter;
  }
  return formatText("| [%@](#%@) | %@ | %d | %d | %d | 0x%06X |\n", type.name(), anchor,
                    directionOf(command), command, param1, param2,
                    varno::HudNetwork::getPacktId(command, param1, param2));
}

std::string sectionOf(PacketType type) {
  const auto packet = type.make();
  const auto [command, param1, param2] = type.identifiers();
  std::string text = formatText("\n## %@\n\nCommand %d, param1 %d, param2 %d, %@.", type.name(),
                                command, param1, param2, directionOf(command));
  const std::string rows = fieldRows(*packet);
  if (rows.empty()) {
    text += " No payload.\n";
  } else {
    text += "\n\n| Field | Encoding | Default |\n|---|---|---|\n" + rows;
  }
  if (!type.payloadNote().empty()) text += formatText("\nNote: %@\n", type.payloadNote());
  return text + formatText("\nExample: `%@`\n", exampleOf(*packet));
}

void writeReference(const char* path) {
  std::string overview =
      "\n| Packet type | Direction | Command | param1 | param2 | Packet id |\n|---|---|---|---|---|"
      "---|\n";
  std::string sections;
  for (const PacketType type : varno::PacketCatalogue::packetTypes()) {
    overview += overviewOf(type);
    sections += sectionOf(type);
  }
  std::ofstream file(path, std::ios::binary);
  file << kIntroduction << overview << sections;
  if (!file.flush()) throw std::runtime_error(std::string("cannot write ") + path);
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 2) {
    std::cerr << "usage: protocol_reference FILE\n";
    return 2;
  }
  writeReference(argv[1]);
} catch (const std::exception& exception) {
  std::cerr << "protocol_reference: " << exception.what() << '\n';
  return 1;
}
