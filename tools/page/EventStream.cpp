#include "tools/page/EventStream.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <utility>

namespace varno::tool {
namespace {

using std::chrono::milliseconds;

// A page takes in a batch of so many in a few milliseconds.
constexpr std::size_t kMaxBatchRecords = 500;
constexpr std::size_t kMaxBatchBytes = std::size_t{256} << 10;
constexpr std::size_t kMaxBatchStates = 40;
// Between batches, so that a record each does not cost an event each.
constexpr milliseconds kPause{30};
constexpr milliseconds kHeartbeat{2000};

// Reads a number in front of the text, and the point behind it.
std::optional<std::uint64_t> takeNumber(std::string_view& text) {
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{}) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  if (text.starts_with('.')) text.remove_prefix(1);
  return value;
}

}  // namespace

EventStream::EventStream(PageHub& hub, std::string_view lastId, std::size_t maxViewers)
    : hub_(hub) {
  const std::lock_guard lock(hub_.mutex);
  if (hub_.viewers >= maxViewers) return;
  hasSeat_ = true;
  ++hub_.viewers;
  if (!lastId.starts_with(hub_.session + ".")) return;
  lastId.remove_prefix(hub_.session.size() + 1);
  const auto record = takeNumber(lastId);
  const auto change = takeNumber(lastId);
  if (!record || !change || !lastId.empty()) return;
  record_ = std::min(*record, hub_.ring.last());
  change_ = std::min(*change, hub_.lastChange);
}

EventStream::~EventStream() {
  if (!hasSeat_) return;
  const std::lock_guard lock(hub_.mutex);
  --hub_.viewers;
}

void EventStream::append(std::string& text, std::string_view event, std::string_view data) const {
  text.append("id: ").append(hub_.session).append(".").append(std::to_string(record_));
  text.append(".").append(std::to_string(change_));
  text.append("\nevent: ").append(event).append("\ndata: ").append(data).append("\n\n");
}

bool EventStream::hasNews() const {
  return hub_.isStopped || record_ < hub_.ring.last() || change_ < hub_.lastChange ||
         !hub_.told.empty() || statusVersion_ != hub_.statusVersion;
}

void EventStream::appendRecords(std::string& text) {
  if (record_ == hub_.ring.last()) return;
  std::string data = R"({"first":)" + std::to_string(hub_.ring.first()) + R"(,"rows":[)";
  record_ = std::max(record_, hub_.ring.first() - 1);
  const std::uint64_t end = std::min(hub_.ring.last(), record_ + kMaxBatchRecords);
  for (bool isFirst = true; record_ < end && data.size() < kMaxBatchBytes; isFirst = false) {
    if (!isFirst) data += ',';
    data += hub_.ring.find(++record_)->row;
  }
  append(text, "records", data += "]}");
}

void EventStream::catchUp() {
  std::deque<ToldState> told;
  {
    const std::lock_guard lock(hub_.mutex);
    told.swap(hub_.told);
    hub_.toldBytes = 0;
  }
  // Of a flood, one change stands for many.
  const std::size_t most = isBegun_ ? kMaxBatchStates : told.size();
  for (std::size_t at = told.size() - std::min(most, told.size()); at < told.size(); ++at) {
    hub_.log.add(told[at]);
  }
  const std::lock_guard lock(hub_.mutex);
  hub_.lastChange = hub_.log.last();
}

void EventStream::appendState(std::string& text) {
  std::string data = R"({"state":)";
  data += hub_.log.state().dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  data += R"(,"changes":[)";
  bool isFirst = true;
  for (const StateLog::Change& change : hub_.log.changes()) {
    if (change.number <= change_) continue;
    if (!isFirst) data += ',';
    isFirst = false;
    data += change.json;
  }
  change_ = hub_.log.last();
  append(text, "state", data += "]}");
}

void EventStream::appendChanges(std::string& text) {
  const std::deque<StateLog::Change>& changes = hub_.log.changes();
  if (change_ == hub_.log.last()) return;
  // One that fell behind gets the state anew, as the changes that are left do not fit its own.
  if (changes.front().number > change_ + 1) {
    appendState(text);
  } else {
    std::string data = "[";
    while (change_ < hub_.log.last()) {
      if (data.size() > 1) data += ',';
      data += changes[static_cast<std::size_t>(++change_ - changes.front().number)].json;
    }
    append(text, "changes", data += "]");
  }
}

std::optional<std::string> EventStream::next() {
  std::string text;
  {
    std::unique_lock lock(hub_.mutex);
    if (isBegun_ && !isFull_) {
      hub_.stopped.wait_for(lock, kPause, [this] { return hub_.isStopped; });
      hub_.changed.wait_for(lock, kHeartbeat, [this] { return hasNews(); });
    }
    if (hub_.isStopped) return std::nullopt;
    if (!isGreeted_) append(text, "hello", hub_.hello);
    appendRecords(text);
    if (statusVersion_ != hub_.statusVersion) {
      statusVersion_ = hub_.statusVersion;
      append(text, "status", hub_.status);
    }
    isFull_ = record_ < hub_.ring.last();
  }
  // What the driver sees may take a while to be worked out.
  if (!std::exchange(isGreeted_, true)) return text;
  {
    const std::lock_guard lock(hub_.logMutex);
    catchUp();
    if (isBegun_) {
      appendChanges(text);
    } else {
      appendState(text);
    }
  }
  isBegun_ = true;
  if (text.empty()) text = ":\n\n";
  return text;
}

}  // namespace varno::tool
