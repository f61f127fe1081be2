#pragma once

#include <VarnoTraffic/TrafficRecord.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

// The lines that HudPacket::hexDump writes, found in the lines of a log, where a framework may have
// put anything in front of and behind them.
namespace varno {

// "0008 00 00 00 00 7D 00 00 7D   ....}..}": offset, up to eight bytes, the same bytes as text.
struct DumpRow {
  static constexpr std::size_t kBytes = 8;

  std::uint64_t offset = 0;
  std::array<std::uint8_t, kBytes> bytes{};
  std::size_t count = 0;  // fewer than kBytes in a dump's last row alone
};

// "SendPacket(SystemTimeCommandPacket) Dump start".
struct DumpLabel {
  std::string_view name;  // what stands before " Dump": of another's label its last word
  std::optional<Direction> direction;
  bool isStart = false;
};

std::optional<DumpRow> dumpRowIn(std::string_view line);
std::optional<DumpLabel> dumpLabelIn(std::string_view line);

}  // namespace varno
