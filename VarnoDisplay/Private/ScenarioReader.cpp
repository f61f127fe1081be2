#include <VarnoDisplay/Private/ScenarioReader.h>

#include <VarnoTraffic/NearestName.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <utility>

namespace varno {
namespace {

constexpr std::size_t kMostFiles = 1000;
constexpr std::size_t kMostFilesInOneAnother = 20;
constexpr std::size_t kMostStatements = 100'000;

constexpr std::string_view kPatternEnd = "field=value";

bool isNumber(std::string_view text, std::uint64_t& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

}  // namespace

void ScenarioReader::report(std::string_view line, NotationError error) {
  const std::string& file = reading_.scenario.files[place_.file];
  // A file that is included twice has each fault once.
  if (!reported_.emplace(file, place_.line, error.column).second) return;
  reading_.errors.push_back({file, place_.line, std::string(line), std::move(error)});
}

void ScenarioReader::readFile(std::string_view text, const std::string& name) {
  auto& files = reading_.scenario.files;
  const auto known = std::find(files.begin(), files.end(), name);
  const auto file = static_cast<std::size_t>(known - files.begin());
  if (known == files.end()) files.push_back(name);
  ++filesRead_;
  open_.push_back(file);
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);  // what some editors begin with
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    StatementLine line(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.atEnd()) continue;
    place_ = {.file = file, .line = number, .column = 1};
    try {
      if (reading_.scenario.statements.size() >= kMostStatements) {
        line.fail("no more than 100,000 statements");
      }
      readStatement(line);
    } catch (NotationError& error) {
      place_ = {.file = file, .line = number, .column = 1};
      report(line.line(), std::move(error));
      nameWhatFailed(line.line());
      if (reading_.scenario.statements.size() >= kMostStatements) break;
    }
  }
  open_.pop_back();
}

void ScenarioReader::readStatement(StatementLine& line) {
  static constexpr std::array<std::string_view, 11> kWords = {"send", "expect", "reject", "ignore",
                                                              "on",   "wait",   "link",   "fault",
                                                              "let",  "option", "include"};
  using Read = void (ScenarioReader::*)(StatementLine&);
  static constexpr std::array<Read, kWords.size()> kReads = {
      &ScenarioReader::readSend,   &ScenarioReader::readExpect, &ScenarioReader::readReject,
      &ScenarioReader::readIgnore, &ScenarioReader::readAnswer, &ScenarioReader::readWait,
      &ScenarioReader::readLink,   &ScenarioReader::readFault,  &ScenarioReader::readLet,
      &ScenarioReader::readOption, &ScenarioReader::readInclude};
  const std::size_t statement = line.takeOneOf(kWords);
  place_.column = line.column();
  (this->*kReads[statement])(line);
}

void ScenarioReader::readOption(StatementLine& line) {
  static constexpr std::array<std::string_view, 3> kOptions = {"timeout", "seed", "as"};
  constexpr std::string_view kExpected = "timeout=T, seed=N or as=display|phone";
  if (line.atEnd()) line.fail(kExpected);
  Scenario& scenario = reading_.scenario;
  while (!line.atEnd()) {
    const std::size_t column = line.column();
    const std::string_view name = line.takeWord(kExpected, "=");
    const auto option = std::find(kOptions.begin(), kOptions.end(), name) - kOptions.begin();
    const bool isKnown = option < std::ssize(kOptions);
    if (!isKnown || line.line().substr(line.offset(), 1) != "=") {
      throw NotationError{column, std::string(name), std::string(kExpected),
                          std::string(isKnown ? "" : nearestName(name, kOptions))};
    }
    ++line.offset();
    const auto refuseSecond = [&](bool isSecond) {
      if (isSecond) {
        throw NotationError{column, std::string(name), "this option once in a scenario", {}};
      }
    };
    if (option == 0) {
      timeout_ = line.takeDuration(scenario.variables);
      continue;
    }
    const std::size_t valueColumn = line.column();
    const std::string text = line.takeText(scenario.variables);
    const auto refuse = [&](const char* expected) {
      throw NotationError{valueColumn, text.substr(0, 40), expected, {}};
    };
    if (option == 1) {
      std::uint64_t seed = 0;
      if (!isNumber(text, seed)) refuse("a number from 0 to 18446744073709551615");
      refuseSecond(scenario.seed.has_value());
      scenario.seed = seed;
    } else {
      if (text != "display" && text != "phone") refuse("display or phone");
      refuseSecond(scenario.role.has_value());
      scenario.role = text == "phone" ? ScenarioRole::kPhone : ScenarioRole::kDisplay;
    }
  }
}

void ScenarioReader::readInclude(StatementLine& line) {
  if (line.atEnd()) line.fail("a file");
  const std::size_t column = line.column();
  const std::string named = line.takeText(reading_.scenario.variables);
  line.finish("a note, or the end of the line; a name with blanks is quoted");
  namespace fs = std::filesystem;
  auto& files = reading_.scenario.files;
  const fs::path besides = fs::path(files[open_.back()]).parent_path();
  const std::string path = (besides / named).lexically_normal().string();
  const auto refuse = [&](std::string expected) {
    throw NotationError{column, named, std::move(expected), {}};
  };
  for (const std::size_t file : open_) {
    if (fs::path(files[file]).lexically_normal() != path) continue;
    std::string circle = "a file that does not include this one:";
    for (auto at = std::find(open_.begin(), open_.end(), file); at != open_.end(); ++at) {
      circle.append(" ").append(files[*at]).append(" includes");
    }
    refuse(circle.append(" ").append(path));
  }
  if (open_.size() >= kMostFilesInOneAnother) refuse("no more than 20 files in one another");
  if (filesRead_ >= kMostFiles) refuse("no more than 1,000 files");
  std::string reason;
  const std::optional<std::string> text = loader_(path, reason);
  if (!text) refuse("a file that can be read; " + path + ": " + reason);
  readFile(*text, path);
}

void ScenarioReader::readLet(StatementLine& line) {
  constexpr std::string_view kExpected = "a name of letters, digits and _";
  const std::size_t column = line.column();
  const std::string name(line.takeWord(kExpected, "="));
  if (!isVariableName(name))
    throw NotationError{column, name.substr(0, 40), std::string(kExpected), {}};
  if (line.atEnd() || line.line()[line.offset()] != '=') line.fail("=");
  ++line.offset();
  if (line.atEnd()) line.fail("a value");
  std::string value = line.takeValue(reading_.scenario.variables);
  line.finish("a note, or the end of the line; a text with blanks is quoted");
  if (reading_.scenario.variables.contains(name)) {
    throw NotationError{column, name, "another name: this one has a value already", {}};
  }
  reading_.scenario.variables.emplace(name, std::move(value));
}

void ScenarioReader::readSend(StatementLine& line) { add(SendStatement{takePacket(line)}); }

void ScenarioReader::readExpect(StatementLine& line) {
  static constexpr std::array<std::string_view, 1> kEnds = {"within"};
  if (line.takeIf("link")) {
    static constexpr std::array<std::string_view, 2> kStates = {"up", "down"};
    const bool isUp = line.takeOneOf(kStates) == 0;
    const auto within = takeWithin(line);
    return add(ExpectLinkStatement{isUp, within});
  }
  ScenarioPattern pattern = takePattern(line, kEnds, true);
  const auto within = takeWithin(line);
  add(ExpectStatement{std::move(pattern), within});
}

void ScenarioReader::readReject(StatementLine& line) {
  static constexpr std::array<std::string_view, 1> kEnds = {"for"};
  ScenarioPattern pattern = takePattern(line, kEnds, false);
  if (!line.takeIf("for")) line.fail("field=value, or for and a length of time");
  const auto duration = line.takeDuration(reading_.scenario.variables);
  line.finish("a note, or the end of the line");
  add(RejectStatement{std::move(pattern), duration});
}

void ScenarioReader::readIgnore(StatementLine& line) {
  ScenarioPattern pattern = takePattern(line, {}, false);
  line.finish(kPatternEnd);
  add(IgnoreStatement{std::move(pattern)});
}

void ScenarioReader::readAnswer(StatementLine& line) {
  static constexpr std::array<std::string_view, 1> kEnds = {"send"};
  ScenarioPattern pattern = takePattern(line, kEnds, true);
  if (!line.takeIf("send")) line.fail("field=value, or send and a packet");
  ScenarioPacket answer = takePacket(line);
  add(AnswerStatement{std::move(pattern), std::move(answer)});
}

void ScenarioReader::readFault(StatementLine& line) {
  if (line.atEnd()) line.fail("> or < and a fault, as corrupt byte=7");
  std::size_t at = line.column() - 1;
  const std::size_t end = at + line.takeRest().size();
  const std::string_view source = line.line();
  NotationError error;
  std::string text;  // with the values of variables in their places
  std::vector<std::size_t> columns;
  while (at < end) {
    const std::size_t column = at + 1;
    if (source.substr(at - 1, 2) == "=$") {
      const auto value = readNotationText(source, at, reading_.scenario.variables, error);
      if (!value) throw NotationError(std::move(error));
      text += *value;
    } else {
      text += source[at++];
    }
    columns.resize(text.size(), column);
  }
  columns.push_back(end + 1);
  const auto fault = directedFaultFromText(text, error);
  if (!fault) {
    error.column = columns[std::min(error.column, columns.size()) - 1];
    throw NotationError(std::move(error));
  }
  add(FaultStatement{*fault});
}

void ScenarioReader::readLink(StatementLine& line) {
  static constexpr std::array<std::string_view, 3> kActions = {"close", "reset", "open"};
  const std::size_t action = line.takeOneOf(kActions);
  line.finish("a note, or the end of the line");
  add(LinkStatement{static_cast<LinkStatement::Action>(action)});
}

void ScenarioReader::readWait(StatementLine& line) {
  const auto duration = line.takeDuration(reading_.scenario.variables);
  line.finish("a note, or the end of the line");
  add(WaitStatement{duration});
}

ScenarioPattern ScenarioReader::takePattern(StatementLine& line,
                                            std::span<const std::string_view> ends, bool mayName) {
  const std::size_t begin = line.column() - 1;
  NotationError error;
  auto pattern = PacketPattern::read(line.line(), line.offset(), ends, reading_.scenario.variables,
                                     directory_, error);
  if (!pattern) throw NotationError(std::move(error));
  for (const std::string& name : pattern->names()) {
    const std::size_t column = line.line().find("=?" + name, begin) + 2;
    if (!mayName) {
      throw NotationError{column, "?" + name, "no name for a value that nobody takes", {}};
    }
    nameLater(name, column);
  }
  return {std::string(line.line().substr(begin, line.offset() - begin)), *std::move(pattern)};
}

ScenarioPacket ScenarioReader::takePacket(StatementLine& line) {
  const std::size_t begin = line.column() - 1;
  const std::string_view text = line.line().substr(begin);
  ScenarioPacket packet{.text = std::string(text), .record = TrafficRecord()};
  NotationError error;
  bool isLater = false;
  const auto refuse = [&] {
    error.column += begin;
    throw NotationError(std::move(error));
  };
  if (!packets_.read(text, reading_.scenario.variables, *packet.record, error, &isLater)) refuse();
  const TrafficRecord& record = *packet.record;
  if (record.time || record.direction || !mayHaveBytes(record.kind)) {
    error = {.column = 1,
             .found = std::string(text.substr(0, text.find(' '))),
             .expected = "a packet type, or raw or noise and bytes",
             .nearest = {}};
    refuse();
  }
  if (isLater) packet.record.reset();
  line.takeRest();
  return packet;
}

std::chrono::nanoseconds ScenarioReader::takeWithin(StatementLine& line) {
  std::chrono::nanoseconds within = timeout_;
  if (line.takeIf("within")) within = line.takeDuration(reading_.scenario.variables);
  line.finish("within T, a note, or the end of the line");
  return within;
}

// The name gets its value when the scenario runs, perhaps more than once.
void ScenarioReader::nameLater(const std::string& name, std::size_t column) {
  const auto [at, isNew] = reading_.scenario.variables.try_emplace(name);
  if (!isNew && at->second) {
    throw NotationError{column, "?" + name, "another name: this one has a value already", {}};
  }
}

// The names that the line would have given: whoever uses them has done nothing wrong.
void ScenarioReader::nameWhatFailed(std::string_view line) {
  const auto name = [&](std::string_view text) {
    const std::size_t end = std::min(text.find_first_of(" \t=#"), text.size());
    if (isVariableName(text.substr(0, end))) {
      reading_.scenario.variables.try_emplace(std::string(text.substr(0, end)));
    }
  };
  StatementLine statement(line);
  if (statement.takeIf("let") && !statement.atEnd()) name(line.substr(statement.offset()));
  for (std::size_t at = line.find("=?"); at != std::string_view::npos;
       at = line.find("=?", at + 2)) {
    name(line.substr(at + 2));
  }
}

void ScenarioReader::add(decltype(ScenarioStatement::what) what) {
  reading_.scenario.statements.push_back({place_, std::move(what)});
}

}  // namespace varno
