#pragma once

#include <VarnoDisplay/Private/StatementLine.h>
#include <VarnoDisplay/Scenario.h>

#include <chrono>
#include <cstddef>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace varno {

// Reads a scenario's files, line by line.
class ScenarioReader {
 public:
  ScenarioReader(const ScenarioLoader& loader, const PacketDirectory& directory)
      : loader_(loader), directory_(directory), packets_(directory) {}

  void readFile(std::string_view text, const std::string& name);

  ScenarioReading take() { return std::move(reading_); }

 private:
  void readStatement(StatementLine& line);
  void readOption(StatementLine& line);
  void readInclude(StatementLine& line);
  void readLet(StatementLine& line);
  void readSend(StatementLine& line);
  void readExpect(StatementLine& line);
  void readReject(StatementLine& line);
  void readIgnore(StatementLine& line);
  void readAnswer(StatementLine& line);
  void readFault(StatementLine& line);
  void readLink(StatementLine& line);
  void readWait(StatementLine& line);

  ScenarioPattern takePattern(StatementLine& line, std::span<const std::string_view> ends,
                              bool mayName);
  ScenarioPacket takePacket(StatementLine& line);
  std::chrono::nanoseconds takeWithin(StatementLine& line);
  void nameLater(const std::string& name, std::size_t column);
  void nameWhatFailed(std::string_view line);
  void add(decltype(ScenarioStatement::what) what);
  void report(std::string_view line, NotationError error);

  const ScenarioLoader& loader_;
  const PacketDirectory& directory_;
  NotationReader packets_;
  ScenarioReading reading_;
  std::vector<std::size_t> open_;  // the files that are being read, each included by the one before
  std::size_t filesRead_ = 0;
  ScenarioPlace place_;
  std::chrono::nanoseconds timeout_ = std::chrono::seconds(5);
  std::set<std::tuple<std::string, std::size_t, std::size_t>> reported_;
};

}  // namespace varno
