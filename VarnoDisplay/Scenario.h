#pragma once

#include <VarnoLink/Fault.h>
#include <VarnoNetwork/Export.h>
#include <VarnoTraffic/Notation.h>
#include <VarnoTraffic/NotationVariables.h>
#include <VarnoTraffic/PacketDirectory.h>
#include <VarnoTraffic/PacketPattern.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

// Scenarios: what one side of a link does and expects, as a text with one statement a line.
//
//   option timeout=2s seed=7 as=phone    how long an expect waits (5s unless told), the seed of the
//                                        faults (1), and the side of the link (display)
//   include FILE                         the statements of another file; relative to this one
//   let NAME = VALUE                     $NAME stands for the value from here on
//   send PACKET                          a packet, or `raw` or `noise` and bytes in hex
//   expect PATTERN [within T]            the next packet is such a one
//   expect link up|down [within T]       the link is, or becomes, so; up opens one that stays down
//   reject PATTERN for T                 no such packet comes for so long; others are passed over
//   ignore PATTERN                       from here on such packets are passed over
//   on PATTERN send PACKET               from here on such packets are answered
//   fault [DIRECTION] KIND NAME=VALUE..  from here on (see Fault.h); > is to the display, < to the
//                                        phone
//   link close|reset|open                hangs up, breaks off, comes back
//   wait T                               what comes meanwhile is kept for the next expect
//
// Packets are written in the one-line notation (see Notation.h), patterns as PacketPattern says, T
// as Duration.h says. `expect` takes the next packet that is neither ignored nor answered; a
// wrong one fails at once. Of several `on` the last one answers. field=?NAME in an expect or on
// gives NAME the field's value. What follows a # is a note.

namespace varno {

// Which side of the link a scenario is.
enum class ScenarioRole : std::uint8_t { kDisplay, kPhone };

// Where something stands in a scenario's files.
struct ScenarioPlace {
  std::size_t file = 0;    // index in Scenario::files
  std::size_t line = 1;    // from 1 on
  std::size_t column = 1;  // in bytes, from 1 on
};

// A packet or pattern whose text has variables that only running gives a value is read again then.
struct ScenarioPacket {
  std::string text;
  std::optional<TrafficRecord> record;  // none where variables are still without value
};

// A pattern, with the text that it was read from.
struct ScenarioPattern {
  std::string text;
  PacketPattern pattern;
};

// `send PACKET`
struct SendStatement {
  ScenarioPacket packet;
};

// `expect PATTERN [within T]`
struct ExpectStatement {
  ScenarioPattern pattern;
  std::chrono::nanoseconds within;
};

// `expect link up|down [within T]`
struct ExpectLinkStatement {
  bool isUp = true;
  std::chrono::nanoseconds within;
};

// `reject PATTERN for T`
struct RejectStatement {
  ScenarioPattern pattern;
  std::chrono::nanoseconds duration;
};

// `ignore PATTERN`
struct IgnoreStatement {
  ScenarioPattern pattern;
};

// `on PATTERN send PACKET`
struct AnswerStatement {
  ScenarioPattern pattern;
  ScenarioPacket answer;
};

// `fault DIRECTION KIND k=v...`
struct FaultStatement {
  DirectedFault fault;
};

// `link close|reset|open`
struct LinkStatement {
  enum class Action : std::uint8_t { kClose, kReset, kOpen };
  Action action = Action::kClose;
};

// `wait T`
struct WaitStatement {
  std::chrono::nanoseconds duration;
};

// One statement, and where it stands.
struct ScenarioStatement {
  ScenarioPlace place;  // of what stands behind the statement's word
  std::variant<SendStatement, ExpectStatement, ExpectLinkStatement, RejectStatement,
               IgnoreStatement, AnswerStatement, FaultStatement, LinkStatement, WaitStatement>
      what;
};

// A scenario as it is run: includes and options are worked in. A value.
struct Scenario {
  std::vector<std::string> files;  // the scenario's own name first
  std::vector<ScenarioStatement> statements;
  NotationVariables variables;  // those of `let`
  std::optional<std::uint64_t> seed;
  std::optional<ScenarioRole> role;
};

// What could not be understood in a scenario.
struct ScenarioError {
  std::string file;
  std::size_t line = 1;
  std::string source;  // the line
  NotationError error;

  // As `join.varno:3:8: found "KeepAlvie", expected ...`, and below it the line with a caret.
  VARNO_EXPORT std::string text() const;
};

// What reading a scenario gave.
struct ScenarioReading {
  Scenario scenario;                  // of use where there are no errors
  std::vector<ScenarioError> errors;  // all of them, in the order of the lines
};

// Gives the text of an included file; none, with the reason, where there is none to be had.
using ScenarioLoader =
    std::function<std::optional<std::string>(const std::string& path, std::string& reason)>;

// Reads ordinary files of up to 16 MiB.
VARNO_EXPORT std::optional<std::string> loadScenarioText(const std::string& path,
                                                         std::string& reason);

// Reads a scenario. name: for messages, and where included files are looked for. The time that this
// takes is in proportion to the text and what it includes, which is limited: to 1,000 files, one in
// another up to 20 deep, and 100,000 statements.
VARNO_EXPORT ScenarioReading readScenario(std::string_view text, const std::string& name,
                                          const ScenarioLoader& loader = loadScenarioText,
                                          const PacketDirectory& directory = PacketDirectory());

}  // namespace varno
