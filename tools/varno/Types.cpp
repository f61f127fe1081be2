#include "tools/varno/Types.h"

#include "tools/varno/FileBuffers.h"
#include "tools/varno/RecordFilter.h"
#include "tools/varno/Subcommand.h"

#include <VarnoNetwork/Network/FieldVisitor.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <concepts>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace varno::tool {
namespace {

struct FieldRow {
  std::string path;
  std::string type;
  std::string defaultValue;  // as JSON; empty where there is none
  bool isSecret = false;
  bool isOnWire = true;
};

template <class Value>
std::string_view typeNameOf() {
  if constexpr (std::same_as<Value, bool>) return "bool";
  if constexpr (std::same_as<Value, std::uint8_t>) return "uint8";
  if constexpr (std::same_as<Value, std::int16_t>) return "int16";
  if constexpr (std::same_as<Value, std::uint16_t>) return "uint16";
  if constexpr (std::same_as<Value, std::int32_t>) return "int32";
  if constexpr (std::same_as<Value, std::uint32_t>) return "uint32";
  if constexpr (std::same_as<Value, std::int64_t>) return "int64";
  if constexpr (std::same_as<Value, std::uint64_t>) return "uint64";
  if constexpr (std::same_as<Value, float>) return "float";
  if constexpr (std::same_as<Value, double>) return "double";
  if constexpr (std::same_as<Value, HudString>) return "string";
  if constexpr (std::same_as<Value, StringSet>) return "set of strings";
  return "unknown";
}

class FieldLister : public UniformFieldVisitor<FieldLister, FieldVisitor> {
 public:
  explicit FieldLister(std::vector<FieldRow>& rows) : rows_(rows) {}

  template <class Value>
  void onField(const FieldInfo& field, const Value& value) {
    nlohmann::json json;
    if constexpr (std::same_as<Value, HudString>) {
      if (value) json = *value;
    } else {
      json = value;
    }
    add(field, std::string(typeNameOf<Value>())).defaultValue = json.dump();
  }
  void beginRecord(const FieldInfo& field, std::string_view typeName) override {
    add(field, std::string(typeName));
  }
  void beginList(const FieldInfo& field, const std::size_t& /*size*/) override {
    add(field, "list");
  }

 private:
  FieldRow& add(const FieldInfo& field, std::string type) {
    FieldRow& row = rows_.emplace_back();
    row.path = field.path();
    row.type = std::move(type);
    row.isSecret = field.isSecret;
    row.isOnWire = field.isOnWire;
    return row;
  }

  std::vector<FieldRow>& rows_;
};

std::vector<FieldRow> rowsOf(const PacketDirectory::Entry& entry) {
  std::vector<FieldRow> rows;
  FieldLister lister(rows);
  entry.type.make()->visitFields(lister);
  return rows;
}

std::string identifiersText(const PacketIdentifiers& identifiers) {
  return std::to_string(identifiers.command) + "/" + std::to_string(identifiers.param1) + "/" +
         std::to_string(identifiers.param2);
}

std::string jsonLine(const PacketDirectory::Entry& entry) {
  nlohmann::ordered_json type = {{"type", entry.type.name()},
                                 {"command", entry.identifiers.command},
                                 {"param1", entry.identifiers.param1},
                                 {"param2", entry.identifiers.param2}};
  auto& fields = type["fields"] = nlohmann::ordered_json::array();
  for (const FieldRow& row : rowsOf(entry)) {
    nlohmann::ordered_json field = {{"name", row.path}, {"type", row.type}};
    if (!row.defaultValue.empty()) field["default"] = nlohmann::json::parse(row.defaultValue);
    if (row.isSecret) field["secret"] = true;
    if (!row.isOnWire) field["onWire"] = false;
    fields.push_back(std::move(field));
  }
  if (!entry.type.payloadNote().empty()) type["note"] = entry.type.payloadNote();
  return type.dump() + "\n";
}

std::string padded(std::string text, std::size_t width) {
  text.resize(std::max(text.size(), width), ' ');
  return text;
}

// A line for each type.
std::string listOf(const std::vector<PacketDirectory::Entry>& entries) {
  std::size_t width = 0;
  for (const auto& entry : entries) width = std::max(width, entry.type.name().size());
  std::string text;
  for (const auto& entry : entries) {
    text += padded(identifiersText(entry.identifiers), 8) +
            padded(std::string(entry.type.name()), width);
    for (const FieldRow& row : rowsOf(entry)) text += "  " + row.path;
    text.resize(text.find_last_not_of(' ') + 1);
    text += '\n';
  }
  return text;
}

std::string tableOf(const PacketDirectory::Entry& entry) {
  const std::vector<FieldRow> rows = rowsOf(entry);
  std::size_t pathWidth = 0;
  std::size_t typeWidth = 0;
  for (const FieldRow& row : rows) {
    pathWidth = std::max(pathWidth, row.path.size() + 2);
    typeWidth = std::max(typeWidth, row.type.size() + 2);
  }
  std::string text =
      std::string(entry.type.name()) + "  " + identifiersText(entry.identifiers) + "\n";
  for (const FieldRow& row : rows) {
    std::string line = "  " + padded(row.path, pathWidth) + padded(row.type, typeWidth);
    line += row.defaultValue;
    if (row.isSecret) line += "  secret";
    if (!row.isOnWire) line += "  not on the wire";
    text.append(line, 0, line.find_last_not_of(' ') + 1).append("\n");
  }
  if (!entry.type.payloadNote().empty()) {
    text.append("  ").append(entry.type.payloadNote()).append("\n");
  }
  return text;
}

struct TypesArguments {
  std::vector<std::string> types;
  bool json = false;
};

int run(const TypesArguments& arguments) {
  const PacketDirectory directory;
  std::vector<PacketDirectory::Entry> entries;
  for (const std::string& name : arguments.types) entries.push_back(entryNamed(name, directory));
  std::string text;
  if (arguments.json) {
    for (const auto& entry : entries.empty() ? directory.entries() : entries) {
      text += jsonLine(entry);
    }
  } else if (entries.empty()) {
    text = listOf(directory.entries());
  } else {
    for (const auto& entry : entries) text += (text.empty() ? "" : "\n") + tableOf(entry);
  }
  print(text);
  return 0;
}

}  // namespace

std::string typesJson() {
  const PacketDirectory directory;
  std::string text = "[";
  for (const auto& entry : directory.entries()) {
    if (text.size() > 1) text += ',';
    text += jsonLine(entry);
  }
  return text += "]";
}

Run defineTypes(CLI::App& app) {
  const auto arguments = std::make_shared<TypesArguments>();
  app.add_option("TYPE", arguments->types, "These only, with the types of their fields")
      ->type_name("");
  app.add_flag("--json", arguments->json, "A JSON object a line");
  return [arguments] { return run(*arguments); };
}

}  // namespace varno::tool
