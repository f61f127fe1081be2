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

  // The line as text that neither forges a log line nor drives a terminal, whoever sent it: each
  // byte that belongs to no printable character of valid UTF-8 text is shown as \xNN, and a
  // backslash is doubled, so the text tells exactly which bytes the line had. Not printable are
  // controls, format characters (zero-width, direction, tags), line and paragraph separators,
  // private use and noncharacters; letters of every script, spaces and combining marks stay.
  // The text is UTF-8, so the terminal must be one as well: to one of an 8-bit character set, bytes
  // inside of a character may be controls. What went through here once does not go through again:
  // its backslashes would be doubled. Throws std::bad_alloc only.
  static std::string printableLine(std::string_view line);
};

}  // namespace varno
