#pragma once

#include <VarnoLink/Clock.h>

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <utility>

namespace varno {

// What is to be done later, by time; of the same time in the order in which it was put down.
class Agenda {
 public:
  using Task = std::function<void()>;

  // Beyond so many tasks, further ones are forgotten: whoever floods a display gets no answers.
  static constexpr std::size_t kMostTasks = 4096;

  void at(LinkTime time, Task task) {
    if (tasks_.size() < kMostTasks) tasks_.emplace(time, std::move(task));
  }

  void clear() { tasks_.clear(); }

  std::optional<LinkTime> nextDue() const {
    return tasks_.empty() ? std::nullopt : std::optional(tasks_.begin()->first);
  }

  // Takes the first task whose time has come; none where there is none.
  std::optional<Task> takeDue(LinkTime now) {
    if (tasks_.empty() || tasks_.begin()->first > now) return std::nullopt;
    return std::move(tasks_.extract(tasks_.begin()).mapped());
  }

 private:
  std::multimap<LinkTime, Task> tasks_;
};

}  // namespace varno
