#include "tools/wireshark/LuaDissector.h"

#include "LuaRuntime.h"

#include <VarnoNetwork/VarnoNetwork.h>
#include <VarnoTraffic/PacketDirectory.h>

#include <exception>
#include <new>
#include <string_view>
#include <type_traits>

namespace varno {
namespace {

constexpr std::string_view kIntroduction = R"(-- Shows Varno packets in Wireshark and tshark.
-- Generated from the packet types by `varno wireshark`: do not edit.

-- A type: command, param1, param2, its name, its name in filters, its fields; `irregular` where it
-- reads its payload in a way of its own. A field: name, kind, the fields of a record or the element
-- of a list; `secret` for a password or key.
local types = {
)";

// A Lua string of any text.
std::string quoted(std::string_view text) {
  std::string quotation = "\"";
  for (const char letter : text) {
    if (letter == '"' || letter == '\\') {
      quotation.append("\\").append(1, letter);
    } else if (letter >= ' ' && letter <= '~') {
      quotation += letter;
    } else {
      const std::string number = std::to_string(static_cast<unsigned char>(letter));
      quotation.append("\\").append(3 - number.size(), '0').append(number);
    }
  }
  return quotation + '"';
}

template <class Value>
constexpr std::string_view kindOf() {
  if (std::is_same_v<Value, bool>) return "bool";
  if (std::is_same_v<Value, std::uint8_t>) return "uint8";
  if (std::is_same_v<Value, std::int16_t>) return "int16";
  if (std::is_same_v<Value, std::int32_t>) return "int32";
  if (std::is_same_v<Value, std::int64_t>) return "int64";
  if (std::is_same_v<Value, std::uint16_t>) return "uint16";
  if (std::is_same_v<Value, std::uint32_t>) return "uint32";
  if (std::is_same_v<Value, std::uint64_t>) return "uint64";
  if (std::is_same_v<Value, float>) return "float";
  if (std::is_same_v<Value, double>) return "double";
  return std::is_same_v<Value, HudString> ? "text" : "set";
}

// Describes each field as a Lua table, a line each. Gives every list one element, which tells what
// its elements are.
class FieldDescriber : public UniformFieldVisitor<FieldDescriber, FieldEditor> {
 public:
  explicit FieldDescriber(bool hasUnsent) : hasUnsent_(hasUnsent) {}

  std::string text;

  template <class Value>
  void onField(const FieldInfo& field, Value&) {
    if (!isTold(field)) return;
    begin(field, kindOf<Value>());
    text += " },\n";
  }

  void beginRecord(const FieldInfo& field, std::string_view /*typeName*/) override {
    open(field, "record", ", {\n");
  }
  void endRecord() override { close("} },\n"); }

  void beginList(const FieldInfo& field, std::size_t& size) override {
    size = 0;
    open(field, "list", ",\n");
  }
  bool wantsElement(const FieldInfo& /*list*/, std::size_t index) override { return index == 0; }
  void endList() override { close("},\n"); }

 private:
  // Beyond that, a record holds itself.
  static constexpr std::size_t kMostNesting = 16;

  bool isTold(const FieldInfo& field) const { return field.isOnWire || hasUnsent_; }

  void begin(const FieldInfo& field, std::string_view kind) {
    const bool isElement = field.index != FieldInfo::kNoIndex;
    text.append(indentation(), ' ').append("{ ").append(quoted(isElement ? "" : field.name));
    text.append(", ").append(quoted(kind));
    if (field.isSecret) text += ", secret = true";
  }
  void open(const FieldInfo& field, std::string_view kind, std::string_view end) {
    if (nesting_ == kMostNesting) throw InvalidArgumentException("Records are nested too deep");
    if (isTold(field)) {
      begin(field, kind);
      text += end;
    }
    ++nesting_;
    isTold_.push_back(isTold(field));
  }
  void close(std::string_view end) {
    --nesting_;
    if (isTold_.back()) text.append(indentation(), ' ').append(end);
    isTold_.pop_back();
  }
  std::size_t indentation() const { return 4 + 2 * nesting_; }

  bool hasUnsent_;
  std::size_t nesting_ = 0;
  std::vector<bool> isTold_;  // of the records and lists around
};

std::string typeText(const PacketDirectory::Entry& entry) {
  const auto [command, param1, param2] = entry.identifiers;
  constexpr std::string_view kEnding = "Packet";
  const std::string_view name = entry.type.name();
  std::string_view filter = name;
  if (filter.ends_with(kEnding) && filter != kEnding) filter.remove_suffix(kEnding.size());
  bool isIrregular = entry.isIrregular;
  FieldDescriber describer(isIrregular);
  try {
    entry.type.make()->editFields(describer);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {  // an application's type may throw anything
    isIrregular = true;
    describer.text.clear();
  }

  std::string text = "  { " + std::to_string(command) + ", " + std::to_string(param1) + ", " +
                     std::to_string(param2) + ", name = " + quoted(name) +
                     ", filter = " + quoted(filter) + ",\n";
  if (isIrregular) {
    std::string_view note = entry.type.payloadNote();
    if (note.ends_with('.')) note.remove_suffix(1);
    text += "    irregular = " + quoted(note) + ",\n";
  }
  if (describer.text.empty()) return text + "    fields = {} },\n";
  return text + "    fields = {\n" + describer.text + "    } },\n";
}

}  // namespace

std::string luaDissector() {
  std::string text(kIntroduction);
  const PacketDirectory directory;
  for (const PacketDirectory::Entry& entry : directory.entries()) text += typeText(entry);
  return text.append("}\n").append(kLuaRuntime);
}

}  // namespace varno
