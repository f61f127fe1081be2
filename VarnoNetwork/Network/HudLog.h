#pragma once

#include <VarnoNetwork/Export.h>

#include <functional>
#include <string>
#include <string_view>

namespace varno {

// The process-wide log: one line of text per call, without levels. The library writes to it the hex
// dumps that are switched on, why a packet could not be sent, version texts that it refused, and
// waits for the main thread that take long. Every function may be called on any thread.
class VARNO_EXPORT HudLog {
 public:
  // Receives each line exactly as it was written, without a newline. Runs on the thread that logs,
  // possibly on several at once, and with no lock held, so it may log or replace the sink itself.
  // What it throws is ignored, and the line is lost.
  using Sink = std::function<void(std::string_view line)>;

  // Directs all later lines to `sink`; an empty one restores writeToStandardError. A line that
  // another thread is writing at this moment may still reach the old sink.
  static void setSink(Sink sink);

  static void write(std::string_view line) noexcept;

  // The default sink: one line on standard error, in one write, with printableLine's escapes.
  static void writeToStandardError(std::string_view line);

  // The line as text that is safe to print, whoever sent it: it can neither forge a log line nor
  // control a terminal. Each byte that is not part of a printable character of valid UTF-8 text is
  // shown as \xNN, and a backslash is doubled, so the text tells exactly which bytes the line had.
  // Not printable are controls, format characters (zero-width, direction, tags), line and paragraph
  // separators, private use and noncharacters; letters of every script, spaces and combining marks
  // stay. The terminal must use UTF-8: in an 8-bit character set, bytes inside a character may be
  // controls. Do not pass a line through twice: that doubles its backslashes again. Throws
  // std::bad_alloc only.
  static std::string printableLine(std::string_view line);
};

}  // namespace varno
