#include <VarnoDisplay/ScenarioResult.h>

#include <VarnoDisplay/Private/ScenarioReport.h>
#include <VarnoLink/Duration.h>

#include <algorithm>
#include <array>
#include <utility>

namespace varno {
namespace {

constexpr std::size_t kWidestColumn = 60;

// A column is as wide as its characters of UTF-8 are many.
std::size_t widthOf(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
  }));
}

std::string clipped(const std::string& text) {
  if (text.size() <= kWidestColumn) return text.empty() ? "-" : text;
  std::size_t end = kWidestColumn;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return text.substr(0, end) + "..";
}

std::string tableOf(const std::vector<PatternRow>& rows) {
  using Line = std::array<std::string, 4>;
  std::vector<Line> lines{{" ", "field", "expected", "came"}};
  for (const PatternRow& row : rows) {
    lines.push_back({row.holds ? " " : "!", row.name.empty() ? "type" : row.name,
                     row.wanted.empty() ? "" : clipped(row.wanted), clipped(row.actual)});
  }
  std::array<std::size_t, 3> widths{};
  for (const Line& line : lines) {
    for (std::size_t at = 0; at < widths.size(); ++at) {
      widths[at] = std::max(widths[at], widthOf(line[at]));
    }
  }
  std::string text;
  for (const Line& line : lines) {
    std::string shown = "  ";
    for (std::size_t at = 0; at < widths.size(); ++at) {
      shown += line[at];
      shown.append(widths[at] - widthOf(line[at]) + (at == 0 ? 1 : 2), ' ');
    }
    text += "\n" + shown + line.back();
  }
  return text;
}

std::string textOf(const ScenarioPacket& packet) {
  if (packet.record) return notationOf(*packet.record);
  return packet.text.substr(0, packet.text.find_first_of(" \t")) + " ..";  // may have a secret
}

std::string textOf(const ScenarioPattern& pattern) { return pattern.pattern.text(); }

struct StatementText {
  std::string operator()(const SendStatement& its) const { return "send " + textOf(its.packet); }
  std::string operator()(const ExpectStatement& its) const {
    return "expect " + textOf(its.pattern) + " within " + durationText(its.within);
  }
  std::string operator()(const ExpectLinkStatement& its) const {
    return std::string("expect link ") + (its.isUp ? "up" : "down") + " within " +
           durationText(its.within);
  }
  std::string operator()(const RejectStatement& its) const {
    return "reject " + textOf(its.pattern) + " for " + durationText(its.duration);
  }
  std::string operator()(const IgnoreStatement& its) const {
    return "ignore " + textOf(its.pattern);
  }
  std::string operator()(const AnswerStatement& its) const {
    return "on " + textOf(its.pattern) + " send " + textOf(its.answer);
  }
  std::string operator()(const FaultStatement& its) const {
    return "fault " + faultText(its.fault);
  }
  std::string operator()(const LinkStatement& its) const {
    constexpr std::array<const char*, 3> kActions = {"close", "reset", "open"};
    return std::string("link ") + kActions[static_cast<std::size_t>(its.action)];
  }
  std::string operator()(const WaitStatement& its) const {
    return "wait " + durationText(its.duration);
  }
};

}  // namespace

std::string ScenarioFailure::text() const {
  std::string text = file + ":" + std::to_string(place.line) + ":" + std::to_string(place.column) +
                     ": " + statement + ": " + reason;
  if (!rows.empty()) text += tableOf(rows);
  if (records.empty()) return text;
  text += "\n  last before it:";
  NotationPrinter printer;
  for (const TrafficRecord& record : records) {
    text += "\n  ";
    printer.append(text, record);
  }
  return text;
}

std::size_t ScenarioResult::passed() const {
  return static_cast<std::size_t>(std::count_if(
      cases.begin(), cases.end(),
      [](const ScenarioCase& each) { return each.status == ScenarioCase::Status::kPassed; }));
}

std::string scenarioStatementText(const ScenarioStatement& statement) {
  return std::visit(StatementText(), statement.what);
}

bool isScenarioCase(const ScenarioStatement& statement) {
  return std::holds_alternative<ExpectStatement>(statement.what) ||
         std::holds_alternative<ExpectLinkStatement>(statement.what) ||
         std::holds_alternative<RejectStatement>(statement.what);
}

std::string frameText(std::span<const std::uint8_t> frame, const PacketDirectory& directory) {
  std::string text;
  NotationPrinter(Secrets::kHidden, directory)
      .append(text, {.kind = RecordKind::kFrame, .bytes = {frame.begin(), frame.end()}});
  return text;
}

std::string unresolvedText(const std::string& text, const NotationVariables& variables,
                           const std::string& error) {
  for (const auto& [name, value] : variables) {
    if (value) continue;
    const std::string used = "$" + name;
    for (std::size_t at = text.find(used); at != std::string::npos; at = text.find(used, at + 1)) {
      const std::string_view rest = std::string_view(text).substr(at + 1);
      const std::size_t end = rest.find_first_of(" \t,]}\"#");
      if (rest.substr(0, end) == name) return used + " has no value yet";
    }
  }
  return "with the values of its variables: " + error;
}

}  // namespace varno
