#include "tools/page/StateLog.h"

#include "tools/page/RecordText.h"

#include <utility>

namespace varno::tool {

void StateLog::add(const ToldState& told) {
  using Json = nlohmann::json;
  Json next = Json::parse(told.state.json(), nullptr, false);
  if (!next.is_object() || next == state_) return;
  Json change = {{"c", ++last_}, {"n", nullptr}, {"t", timeText(told.time)}};
  if (told.record) change["n"] = *told.record;
  change["do"] = Json::diff(state_, next);
  change["undo"] = Json::diff(next, state_);
  changes_.push_back({last_, change.dump(-1, ' ', false, Json::error_handler_t::replace)});
  bytes_ += changes_.back().json.size();
  // The newest one stays, however long it is.
  while (changes_.size() > kMaxChanges || (bytes_ > kMaxBytes && changes_.size() > 1)) {
    bytes_ -= changes_.front().json.size();
    changes_.pop_front();
  }
  state_ = std::move(next);
}

}  // namespace varno::tool
