#pragma once

#include <VarnoTraffic/FieldCondition.h>
#include <VarnoTraffic/PacketDirectory.h>
#include <VarnoTraffic/TrafficRecord.h>

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace varno::tool {

// Which records a subcommand takes, by what its command line says.
class RecordFilter {
 public:
  // Gives the subcommand --direction, --type and --where.
  void define(CLI::App& app);
  // Understands what they were given; throws Failure. Before any other operation.
  void prepare();

  bool takes(const TrafficRecord& record) const;

  const PacketDirectory& directory() const { return directory_; }
  bool hasDirection() const { return direction_.has_value(); }

 private:
  bool isWantedPacket(const TrafficRecord& record) const;

  std::string directionName_;
  std::vector<std::string> typeNames_;
  std::vector<std::string> conditionTexts_;

  PacketDirectory directory_;
  std::optional<Direction> direction_;
  std::vector<const PacketDirectory::Entry*> types_;
  std::vector<FieldCondition> conditions_;
};

// The entry that the word names; throws Failure, with what was perhaps meant, where it names none.
const PacketDirectory::Entry& entryNamed(const std::string& word, const PacketDirectory& directory);

}  // namespace varno::tool
