#pragma once

#include <VarnoTraffic/Secrets.h>
#include <VarnoTraffic/TrafficRecord.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace varno::tool {

// What somebody at the page wants done.
struct PageCommand {
  enum class Kind : std::uint8_t {
    kSend,         // bytes, in the direction
    kFault,        // as its text says, in the direction, or in both
    kClearFaults,  // in the direction, or in both
    kHangUp,       // and stay down
    kReset,        // break the link off
    kOpen,         // come back
  };

  Kind kind = Kind::kSend;
  std::optional<Direction> direction = {};
  std::vector<std::uint8_t> bytes = {};
  std::string fault = {};
  // Called once, from any thread, also when the server is gone: with why it was not done, as a
  // sentence, or with an empty text. A command that is dropped instead counts as not done.
  std::function<void(const std::string& problem)> answer = {};

  bool isFor(Direction which) const { return direction.value_or(which) == which; }
};

// What the driver sees: a JSON object, which is made later and on another thread, if it is wanted
// at all.
struct SeenState {
  std::function<std::string()> json;
  std::size_t bytes = 0;  // how many are held until then, more or less
};

// A link as the page shows it.
struct PageLink {
  std::string name;     // "display", "phone side"
  std::string address;  // as opened: with the port that was taken
  std::string state;    // "waiting", "connecting", "listening", "up", "down"
  std::string reason = {};

  bool operator==(const PageLink&) const = default;
};

struct PageOptions {
  std::string host = "127.0.0.1";  // to listen on
  std::uint16_t port = 0;          // 0: any
  std::string token = {};          // the secret part of the address; empty: a random one
  std::string title = "varno";     // what is looked at
  Secrets secrets = Secrets::kHidden;
  // What the tool can do: which way it can send, and into which streams it can put faults.
  std::vector<Direction> sends = {};
  std::vector<Direction> faults = {};
  // Of "hangUp", "reset" and "open", those that the tool can do; it has a link where there are any.
  std::vector<std::string> linkActions = {};
  std::string types = "[]";  // the packet types, as a JSON array of what `varno types --json` says
  // The faults there are, as a JSON array of {"kind":..., "parameters":..., "summary":...}.
  std::string faultKinds = "[]";
  std::size_t maxRecords = 100'000;
  std::size_t maxBytes = std::size_t{128} << 20;  // of the records that are kept
  std::size_t maxViewers = 8;
  // Called when there is a command to take, on a thread of the server: to wake the one that takes
  // it.
  std::function<void()> onCommand = {};
};

// The web page of a tool: keeps what passed and what the driver sees, shows it to whoever opens the
// address, and hands on what is done there. Its threads are its own; any thread may call its
// operations, and none of them waits for a viewer.
class PageServer {
 public:
  // Listens from here on. Throws std::runtime_error where it cannot, or where an option is not what
  // it is to be.
  explicit PageServer(PageOptions options);
  // Hangs up on every viewer. Does not wait for any of them.
  ~PageServer();
  PageServer(const PageServer&) = delete;
  PageServer& operator=(const PageServer&) = delete;

  // As "http://127.0.0.1:8080/1f6b.../", for people to open.
  const std::string& address() const;

  // Returns the record's number, from 1 on.
  std::uint64_t add(const TrafficRecord& record);

  // What the driver sees now. record: the number of the record that changed it; none where time
  // did. time: nanoseconds since the epoch. Without effect where nothing changed. Of very many in a
  // short time, viewers are told of some as one.
  void setState(SeenState state, std::optional<std::uint64_t> record, std::int64_t time);

  void setLinks(const std::vector<PageLink>& links);
  // The faults that are put in, as their texts, with what they did so far. Without effect, as
  // setLinks, where nothing changed.
  void setFaults(const std::vector<std::string>& faults);

  // The next command; none where there is none.
  std::optional<PageCommand> takeCommand();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace varno::tool
