#pragma once

#include "tools/varno/FileBuffers.h"

#include <VarnoTraffic/VarnoTraffic.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace varno::tool {

// What `varno decode` shows of records, as its command line says.
class DecodeOutput {
 public:
  enum class Form : std::uint8_t { kText, kJson, kExplain, kHex };
  enum class Times : std::uint8_t { kAbsolute, kRelative, kDelta };

  struct Options {
    Form form = Form::kText;
    Times times = Times::kAbsolute;
    bool onlyBad = false;
    bool showsSecrets = false;
    bool isColored = false;
  };

  // How many of what there was.
  struct Tally {
    std::array<std::uint64_t, kRecordKinds.size()> records{};  // by kind
    std::uint64_t dropped = 0;                                 // of the frames
    std::uint64_t refused = 0;
    std::uint64_t unusual = 0;  // delivered, but the packet in it would write another frame

    std::string text() const;
  };

  DecodeOutput(const Options& options, const PacketDirectory& directory);

  // Has to be told every record, that will not be shown too: each has its place in the stream.
  void pass(const TrafficRecord& record);

  // The record's text, with its line ends; nothing where it is not to be shown. Changes the
  // record's time to the one that is shown. Valid until the next call.
  std::string_view show(TrafficRecord& record);

  const Tally& tally() const { return tally_; }

 private:
  void applyTimes(TrafficRecord& record);
  // Whether something is wrong with the record.
  bool count(const TrafficRecord& record, const std::optional<Explanation>& explanation);
  // Where in its text the packet's or the kind's name begins.
  std::size_t wordOf(const TrafficRecord& record) const;
  void showHex(const TrafficRecord& record, std::size_t wordAt);
  void appendPlace(const TrafficRecord& record);
  void appendTable(const TrafficRecord& record, const std::optional<Explanation>& explanation);
  void color(std::size_t wordAt, bool isBad);

  Options options_;
  const PacketDirectory& directory_;
  NotationPrinter notation_;
  JsonPrinter json_;
  Tally tally_;
  std::array<std::uint64_t, 3> offsets_{};  // of the next byte, by direction
  std::uint64_t offset_ = 0;                // of the record
  std::optional<std::int64_t> base_;
  std::string text_;
};

// Whether the output is for eyes that like colors.
bool wantsColors(const OutputFile& output);

}  // namespace varno::tool
