#pragma once

#include <VarnoNetwork/Export.h>

#include <functional>
#include <string>
#include <string_view>

namespace varno {

// The process-wide log: one line of text a call, without levels. The library writes to it the hex
// dumps that were asked for, the reason why a packet could not be sent, and version texts that it
// refused. Every function may be called on any thread.
class VARNO_EXPORT HudLog {
 public:
  // Receives each line exactly as it was written, without a newline. Runs on the thread that logs,
  // possibly on several at once, and with no lock held, so it may log or replace the sink itself.
  // What it throws is dropped together with the line.
  using Sink = std::function<void(std::string_view line)>;

  // Directs all later lines to `sink`; an empty one restores writeToStandardError. A line that
  // another thread is writing at this moment may still reach the old sink.
  static void setSink(Sink sink);

  static void write(std::string_view line) noexcept;

  // The default sink: one line on standard error, in one write, with printableLine's escapes.
  static void writeToStandardError(std::string_view line);

  // The line with every control character, and every character that reorders or breaks a line of
  // text on a terminal, shown as \xNN per byte. Text that came from a peer can then neither forge a
  // log line nor drive the terminal.
  static std::string printableLine(std::string_view line);
};

}  // namespace varno
