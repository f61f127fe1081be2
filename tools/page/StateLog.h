#pragma once

#include "tools/page/PageServer.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>

namespace varno::tool {

// A state that the tool told of.
struct ToldState {
  SeenState state;
  std::optional<std::uint64_t> record;  // the number of the one that made it
  std::int64_t time;
};

// What the driver sees, and the last changes of it: bounded in number and in bytes. One thread at a
// time.
class StateLog {
 public:
  static constexpr std::size_t kMaxChanges = 5'000;
  static constexpr std::size_t kMaxBytes = std::size_t{4} << 20;  // of the changes

  struct Change {
    std::uint64_t number;  // from 1 on
    // {"c": number, "n": number of the record that made it, or null, "t": time in seconds,
    //  "do": patch, "undo": patch}, patches as in RFC 6902
    std::string json;
  };

  // Without effect for the same state, and for what is no JSON object.
  void add(const ToldState& told);

  const nlohmann::json& state() const { return state_; }  // null before the first
  const std::deque<Change>& changes() const { return changes_; }
  std::uint64_t last() const { return last_; }  // 0 before the first change

 private:
  nlohmann::json state_;
  std::deque<Change> changes_;
  std::size_t bytes_ = 0;
  std::uint64_t last_ = 0;
};

}  // namespace varno::tool
