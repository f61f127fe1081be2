#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoNetwork/Network/HudPacket.h>
#include <VarnoTraffic/Notation.h>
#include <VarnoTraffic/PacketDirectory.h>
#include <VarnoTraffic/TrafficRecord.h>

#include <chrono>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

namespace varno {

// Makes a scenario of what passed: what the display sent is sent again, and what the phone sent is
// expected again, so that it passes with an application that does the same.
//
// As a person would have written it, pauses are rounded, keep-alives are ignored, a time of day may
// be any other, and of a secret no more is expected than that it is there. What nobody can expect,
// as noise from the phone, stands as a remark. A secret in what the display sent is left out, with
// a remark that says so.
class VARNO_EXPORT ScenarioWriter {
 public:
  // output: outlives the writer. title: the first line, as a remark.
  ScenarioWriter(std::ostream& output, std::string_view title, PacketDirectory directory = {});

  // Records come in the order of their times.
  void write(const TrafficRecord& record);

  // How many packets the scenario does not send as they were, for the secrets in them.
  std::uint64_t lackingSecrets() const { return lackingSecrets_; }

 private:
  using Pause = std::chrono::nanoseconds;

  VARNO_INTERNAL void line(const std::string& text);
  VARNO_INTERNAL void remark(std::string_view text);
  VARNO_INTERNAL void send(const TrafficRecord& record, Pause pause);
  VARNO_INTERNAL void expect(const TrafficRecord& record, Pause pause);
  VARNO_INTERNAL void link(const TrafficRecord& record, Pause pause);

  std::ostream& output_;
  PacketDirectory directory_;
  NotationPrinter printer_;
  std::optional<std::int64_t> last_;  // when something passed that counts
  std::string pendingDown_;           // the end of the link, which counts if it comes up again
  bool wasUp_ = false;
  std::uint64_t lackingSecrets_ = 0;
};

}  // namespace varno
