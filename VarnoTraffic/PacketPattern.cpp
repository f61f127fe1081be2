#include <VarnoTraffic/PacketPattern.h>

#include <VarnoTraffic/Private/ConditionState.h>
#include <VarnoTraffic/Private/ValueText.h>

#include <algorithm>
#include <utility>

namespace varno {

struct PacketPattern::State {
  std::string_view typeName() const { return type->name(); }
  bool isOfType(const HudPacket& packet) const { return packet.typeName() == typeName(); }

  std::optional<PacketType> type;  // none: a frame of bytes, or any
  std::vector<ConditionState> conditions;
  std::optional<std::vector<std::uint8_t>> bytes;
  bool isIncomplete = false;
};

namespace {

// What stands behind the field's path.
std::string wantedText(const ConditionState& condition) {
  std::string text(condition.sign);
  if (condition.comparison == Comparison::kPresent) return text + "*";
  if (condition.comparison == Comparison::kBinds) return text + "?" + condition.value.text;
  if (condition.isSecret) return text.append(kHiddenText);
  return text + writtenValue(condition.value);
}

void appendRows(const FieldValue& fields, const std::string& prefix, const auto& conditions,
                const HudPacket& packet, std::vector<PatternRow>& rows) {
  for (const FieldValue& field : fields.items) {
    const std::string path = prefix + field.name;
    if (field.kind == FieldValue::Kind::kRecord) {
      appendRows(field, path + ".", conditions, packet, rows);
      continue;
    }
    PatternRow row{.name = path, .wanted = {}, .actual = writtenValue(field), .holds = true};
    for (const auto& condition : conditions) {
      if (condition.path != path) continue;
      if (!row.wanted.empty()) row.wanted += ' ';
      row.wanted += wantedText(condition);
      row.holds = row.holds && condition.holds(packet);
    }
    rows.push_back(std::move(row));
  }
}

}  // namespace

PacketPattern::PacketPattern() : state_(std::make_shared<const State>()) {}
PacketPattern::PacketPattern(const PacketPattern&) = default;
PacketPattern& PacketPattern::operator=(const PacketPattern&) = default;
PacketPattern::~PacketPattern() = default;

std::optional<PacketPattern> PacketPattern::read(std::string_view line, std::size_t& at,
                                                 std::span<const std::string_view> ends,
                                                 const NotationVariables& variables,
                                                 const PacketDirectory& directory,
                                                 NotationError& error) {
  try {
    NotationParser parser(line, at, &variables);
    auto state = std::make_shared<State>();
    if (parser.takeWord("raw")) {
      state->bytes = parser.takeHex(ends);
    } else if (!parser.takeWord("*")) {
      const PacketDirectory::Entry& entry =
          takePacketType(parser, directory, "a packet type, raw and bytes, or * for every packet");
      state->type = entry.type;
      while (parser.hasPieceBefore(ends)) {
        state->conditions.emplace_back(parser, false).check(entry);
      }
    }
    state->isIncomplete = parser.hasLater();
    at = parser.offset();
    PacketPattern pattern;
    pattern.state_ = std::move(state);
    return pattern;
  } catch (NotationError& thrown) {
    error = std::move(thrown);
    return std::nullopt;
  }
}

bool PacketPattern::isIncomplete() const { return state_->isIncomplete; }

std::vector<std::string> PacketPattern::names() const {
  std::vector<std::string> names;
  for (const auto& condition : state_->conditions) {
    if (condition.comparison == Comparison::kBinds) names.push_back(condition.value.text);
  }
  return names;
}

bool PacketPattern::matches(std::span<const std::uint8_t> frame, const HudPacket* packet) const {
  const State& state = *state_;
  if (state.bytes) {
    return std::equal(frame.begin(), frame.end(), state.bytes->begin(), state.bytes->end());
  }
  if (!state.type) return true;
  return packet != nullptr && state.isOfType(*packet) &&
         std::all_of(state.conditions.begin(), state.conditions.end(),
                     [&](const auto& condition) { return condition.holds(*packet); });
}

void PacketPattern::bind(const HudPacket& packet, NotationVariables& variables) const {
  std::optional<FieldValue> fields;
  for (const auto& condition : state_->conditions) {
    if (condition.comparison != Comparison::kBinds) continue;
    if (!fields) fields = fieldsOf(packet, true);
    const FieldValue* const field = findField(*fields, condition.path);
    if (field != nullptr) variables[condition.value.text] = writtenValue(*field);
  }
}

std::size_t PacketPattern::likeness(const HudPacket& packet) const {
  const State& state = *state_;
  if (!state.type || !state.isOfType(packet)) return 0;
  return 1 + static_cast<std::size_t>(
                 std::count_if(state.conditions.begin(), state.conditions.end(),
                               [&](const auto& condition) { return condition.holds(packet); }));
}

std::vector<PatternRow> PacketPattern::compare(const HudPacket& packet) const {
  const State& state = *state_;
  const bool isOfType = state.type && state.isOfType(packet);
  std::vector<PatternRow> rows;
  rows.push_back({.name = {},
                  .wanted = state.type ? std::string(state.typeName()) : text(),
                  .actual = std::string(packet.typeName()),
                  .holds = isOfType || (!state.type && !state.bytes)});
  const std::vector<ConditionState> none;
  appendRows(fieldsOf(packet, false), "", isOfType ? state.conditions : none, packet, rows);
  // What is asked of fields that the packet has not, or of elements of its lists.
  for (const auto& condition : state.conditions) {
    const bool isShown = isOfType && std::any_of(rows.begin(), rows.end(), [&](const auto& row) {
                           return row.name == condition.path;
                         });
    if (isShown) continue;
    rows.push_back({.name = condition.path,
                    .wanted = wantedText(condition),
                    .actual = {},
                    .holds = isOfType && condition.holds(packet)});
  }
  return rows;
}

std::string PacketPattern::text() const {
  const State& state = *state_;
  std::string text = "*";
  if (state.bytes) {
    text = "raw ";
    appendHex(text, *state.bytes, " ");
  } else if (state.type) {
    text = state.typeName();
    for (const auto& condition : state.conditions) {
      text.append(" ").append(condition.path).append(wantedText(condition));
    }
  }
  return text;
}

}  // namespace varno
