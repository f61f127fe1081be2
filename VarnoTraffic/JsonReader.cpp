#include <VarnoTraffic/JsonLines.h>
#include <VarnoTraffic/NearestName.h>
#include <VarnoTraffic/Private/DecodedFrame.h>
#include <VarnoTraffic/Private/FieldPrinter.h>
#include <VarnoTraffic/Private/FieldTree.h>
#include <VarnoTraffic/Private/NotationParser.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iterator>
#include <utility>

namespace varno {
namespace {

using Kind = FieldValue::Kind;

// Goes over a line and tells how far it came.
class TrackedIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  TrackedIterator(const char* at, const char** reached) : at_(at), reached_(reached) {}

  reference operator*() const { return *at_; }
  TrackedIterator& operator++() {
    *reached_ = ++at_;
    return *this;
  }
  bool operator==(const TrackedIterator& other) const { return at_ == other.at_; }

 private:
  const char* at_;
  const char** reached_;
};

// Makes a tree of values from what the JSON parser sees. The parser stops where one of its
// functions throws.
class TreeBuilder : public nlohmann::json_sax<nlohmann::json> {
 public:
  explicit TreeBuilder(std::string_view line) : line_(line), reached_(line.data()) {}

  TrackedIterator begin() { return {line_.data(), &reached_}; }
  TrackedIterator end() { return {line_.data() + line_.size(), &reached_}; }
  FieldValue& root() { return root_; }

  bool null() override { return addScalar(Kind::kWord, "null"); }
  bool boolean(bool value) override { return addScalar(Kind::kWord, value ? "true" : "false"); }
  bool number_integer(number_integer_t /*value*/) override { return addNumber(); }
  bool number_unsigned(number_unsigned_t /*value*/) override { return addNumber(); }
  bool number_float(number_float_t /*value*/, const string_t& /*text*/) override {
    return addNumber();
  }
  bool string(string_t& value) override { return addScalar(Kind::kText, std::move(value)); }
  bool binary(binary_t& /*value*/) override { return false; }  // JSON has none
  bool start_object(std::size_t /*size*/) override { return open(Kind::kRecord); }
  bool end_object() override { return close(); }
  bool start_array(std::size_t /*size*/) override { return open(Kind::kList); }
  bool end_array() override { return close(); }

  bool key(string_t& name) override {
    keyColumn_ = takeColumn();
    checkRoom(*open_.back(), keyColumn_);
    if (open_.back()->find(name) != nullptr) throwUnexpected(keyColumn_, name, "each name once");
    key_ = std::move(name);
    return true;
  }

  bool parse_error(std::size_t position, const std::string& /*token*/,
                   const nlohmann::detail::exception& exception) override {
    const std::string_view message = exception.what();
    constexpr std::string_view kWanted = "expected ";
    const std::size_t expected = message.rfind(kWanted);
    const std::size_t column = std::clamp<std::size_t>(position, 1, line_.size() + 1);
    throwUnexpected(column, line_.substr(column - 1, 1),
                    expected == std::string_view::npos
                        ? "valid JSON"
                        : std::string(message.substr(expected + kWanted.size())));
  }

 private:
  // Where the value or key begins that the parser has just read.
  std::size_t takeColumn() {
    while (next_ < line_.size() &&
           std::string_view(" \t\r\n,:]}").find(line_[next_]) != std::string_view::npos) {
      ++next_;
    }
    const std::size_t column = next_ + 1;
    next_ = static_cast<std::size_t>(reached_ - line_.data());
    return column;
  }

  FieldValue& add(Kind kind) {
    FieldValue value;
    value.kind = kind;
    value.column = takeColumn();
    if (open_.empty()) return root_ = std::move(value);
    value.name = key_;
    value.nameColumn = keyColumn_;
    return open_.back()->items.emplace_back(std::move(value));
  }
  bool addScalar(Kind kind, std::string text) {
    add(kind).text = std::move(text);
    return true;
  }
  // As it is written: the parser's own number may have lost a sign or digits.
  bool addNumber() {
    FieldValue& value = add(Kind::kWord);
    const std::string_view text = line_.substr(value.column - 1);
    value.text = text.substr(0, text.find_first_of(" \t\r\n,]}"));
    return true;
  }
  bool open(Kind kind) {
    FieldValue& value = add(kind);
    if (open_.size() == kMostValueNesting) {
      throwUnexpected(value.column, "", "fewer values in one another");
    }
    open_.push_back(&value);
    return true;
  }
  bool close() {
    open_.pop_back();
    return true;
  }

  std::string_view line_;
  const char* reached_;
  std::size_t next_ = 0;  // behind what was read before the current value
  FieldValue root_;
  std::vector<FieldValue*> open_;  // none of their lists grows while one inside is open
  std::string key_;
  std::size_t keyColumn_ = 1;
};

std::vector<std::uint8_t> bytesOf(const FieldValue& value) {
  if (value.kind != Kind::kText) throwUnexpected(value.column, value.text, "hex digits in quotes");
  try {
    return NotationParser(value.text).takeHex();
  } catch (NotationError& error) {
    error.column += value.column;  // of the text, behind its quote
    throw;
  }
}

const std::string& textOf(const FieldValue& value) {
  if (value.kind != Kind::kText) throwUnexpected(value.column, value.text, "a text in quotes");
  return value.text;
}

template <class Value>
Value required(const std::optional<Value>& value, const FieldValue& given, std::string expected) {
  if (!value) throwUnexpected(given.column, given.text, std::move(expected));
  return *value;
}

void checkNames(const FieldValue& root) {
  static constexpr std::string_view kNames[] = {"time",  "direction", "kind",     "type", "fields",
                                                "frame", "bytes",     "problems", "note"};
  for (const FieldValue& item : root.items) {
    if (std::find(std::begin(kNames), std::end(kNames), item.name) != std::end(kNames)) continue;
    throwUnexpected(item.nameColumn, item.name, "a name that records have",
                    std::string(nearestName(item.name, kNames)));
  }
}

// The frame that type and fields tell, and that they may be told by, too.
std::vector<std::uint8_t> frameIn(FieldValue& root, const PacketDirectory& directory) {
  const FieldValue* frame = root.find("frame");
  const FieldValue* type = root.find("type");
  FieldValue* fields = root.find("fields");
  std::vector<std::uint8_t> bytes;
  if (frame != nullptr) bytes = bytesOf(*frame);
  if (type == nullptr) {
    if (fields != nullptr) throwUnexpected(fields->nameColumn, fields->name, "type as well");
    if (frame == nullptr) throwUnexpected(root.column, "{", "frame, or type and fields");
    return bytes;
  }
  if (frame != nullptr && fields == nullptr) return bytes;  // of a type, but without a packet

  const PacketDirectory::Entry* entry = directory.find(textOf(*type));
  if (entry == nullptr) {
    const std::vector<std::string_view> names = directory.alike(type->text);
    throwUnexpected(type->column, type->text, "a packet type",
                    names.empty() ? std::string() : std::string(names.front()));
  }
  const std::shared_ptr<HudPacket> packet = entry->type.make();
  if (fields != nullptr) {
    if (fields->kind != Kind::kRecord) throwUnexpected(fields->column, fields->text, "an object");
    fillFields(*packet, *fields, frame == nullptr);  // a frame tells its secrets itself
  }
  if (frame == nullptr) return frameOf(*packet);
  std::vector<std::uint8_t> memory;
  const DecodedFrame decoded = decodeFrame(bytes, directory, memory);
  if (decoded.packet == nullptr || !(decoded.entry->type == entry->type) ||
      fieldsText(*decoded.packet) != fieldsText(*packet)) {
    throwUnexpected(frame->nameColumn, frame->name, "no frame, or one that has the fields' values");
  }
  return bytes;
}

void readRecord(FieldValue& root, TrafficRecord& record, const PacketDirectory& directory) {
  if (root.kind != Kind::kRecord) throwUnexpected(root.column, root.text, "an object");
  checkNames(root);
  record = TrafficRecord();
  if (const FieldValue* time = root.find("time")) {
    record.time = required(timeIn(textOf(*time)), *time, "seconds, as \"1500000000.104000000\"");
  }
  if (const FieldValue* direction = root.find("direction")) {
    record.direction =
        required(directionFromText(textOf(*direction)), *direction, "\">\" or \"<\"");
  }
  if (const FieldValue* kind = root.find("kind")) {
    record.kind = required(recordKindFromText(textOf(*kind)), *kind, "the kind of a record");
  }
  if (const FieldValue* note = root.find("note")) record.note = textOf(*note);
  if (record.kind == RecordKind::kFrame) {
    record.bytes = frameIn(root, directory);
    if (const FieldValue* bytes = root.find("bytes")) {
      throwUnexpected(bytes->nameColumn, bytes->name, "frame: the record is one");
    }
    return;
  }
  for (const char* name : {"frame", "type", "fields", mayHaveBytes(record.kind) ? "" : "bytes"}) {
    const FieldValue* given = root.find(name);
    if (given == nullptr) continue;
    throwUnexpected(given->nameColumn, given->name, "no such name in a record of this kind");
  }
  if (const FieldValue* bytes = root.find("bytes")) record.bytes = bytesOf(*bytes);
}

}  // namespace

JsonReader::JsonReader(PacketDirectory directory) : directory_(std::move(directory)) {}

bool JsonReader::read(std::string_view line, TrafficRecord& record, NotationError& error) const {
  try {
    TreeBuilder builder(line);
    nlohmann::json::sax_parse(builder.begin(), builder.end(), &builder);
    readRecord(builder.root(), record, directory_);
    return true;
  } catch (NotationError& thrown) {
    error = std::move(thrown);
    return false;
  }
}

}  // namespace varno
