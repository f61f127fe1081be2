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

A frame is `02`, the command, param1, param2, the payload's fields in the order given here, `03`.
There is no length, no padding and no checksum. Between the marks, each byte `02`, `03` or `7D` is
sent as `7D` followed by the byte XOR `7D`.

| Encoding | Bytes, before that |
|---|---|
| boolean | 1: `01` for true, `00` for false; any other value reads as true |
| unsigned 8-bit | 1 |
| signed 16-bit, 32-bit, 64-bit | 2, 4, 8: two's complement, most significant byte first |
| 32-bit float, 64-bit float | 4, 8: IEEE 754, most significant byte first |
| string | the number of its UTF-8 bytes as signed 16-bit, then these bytes |
| set of strings | their number as signed 32-bit, then the strings |

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

// Collects a table row for each field.
class FieldRows : public varno::FieldVisitor {
 public:
  explicit FieldRows(const HudPacket& packet) { packet.visitFields(*this); }

  const std::string& text() const { return text_; }

  void visit(const FieldInfo& field, const bool& value) override {
    add(field, "boolean", value ? "true" : "false");
  }
  void visit(const FieldInfo& field, const std::uint8_t& value) override {
    add(field, "unsigned 8-bit", formatText("%d", value));
  }
  void visit(const FieldInfo& field, const std::int16_t& value) override {
    add(field, "signed 16-bit", formatText("%d", value));
  }
  void visit(const FieldInfo& field, const std::int32_t& value) override {
    add(field, "signed 32-bit", formatText("%d", value));
  }
  void visit(const FieldInfo& field, const std::int64_t& value) override {
    add(field, "signed 64-bit", formatText("%lld", value));
  }
  void visit(const FieldInfo& field, const float& value) override {
    add(field, "32-bit float", formatText("%f", value));
  }
  void visit(const FieldInfo& field, const double& value) override {
    add(field, "64-bit float", formatText("%f", value));
  }
  void visit(const FieldInfo& field, const HudString& value) override {
    add(field, "string", value ? '"' + *value + '"' : "absent");
  }
  void visit(const FieldInfo& field, const std::set<std::string>& value) override {
    std::string list;
    for (const std::string& text : value) list += (list.empty() ? "\"" : ", \"") + text + '"';
    add(field, "set of strings", '{' + list + '}');
  }
  void beginRecord(const FieldInfo& field, std::string_view /*typeName*/) override {
    record_ = std::string(field.name) + '.';
  }
  void endRecord() override { record_.clear(); }

 private:
  void add(const FieldInfo& field, std::string_view encoding, const std::string& value) {
    text_ += formatText("| `%@%@` | %@ | `%@` |\n", record_, field.name,
                        field.isOnWire ? encoding : "see the note", value);
  }

  std::string record_;
  std::string text_;
};

std::string exampleOf(const HudPacket& packet) {
  varno::HudOutputStream stream;
  packet.serialize(stream);
  std::string text;
  for (const std::uint8_t byte : stream.toNSData()) text += formatText(" %02X", byte);
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
  const FieldRows rows(*packet);
  if (rows.text().empty()) {
    text += " No payload.\n";
  } else {
    text += "\n\n| Field | Encoding | Default |\n|---|---|---|\n" + rows.text();
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
