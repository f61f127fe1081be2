#pragma once

#include <algorithm>
#include <cstddef>
#include <span>
#include <vector>

namespace varno {

// A queue whose content lies in one piece. Its memory is kept for what comes next, up to a limit.
template <class Value>
class FlatQueue {
 public:
  static constexpr std::size_t kKeptBytes = std::size_t{1} << 20;

  std::span<const Value> content() const { return std::span(values_).subspan(begin_); }
  std::size_t size() const { return values_.size() - begin_; }
  bool empty() const { return size() == 0; }

  // Makes room for so many more. Throws std::bad_alloc, and then nothing has changed.
  void reserve(std::size_t count) {
    if (count <= values_.capacity() - values_.size()) return;
    // Moved to the front before it grows, but only after half of it was dropped: else a queue that
    // stays long would be moved again and again.
    if (begin_ > size()) {
      values_.erase(values_.begin(), values_.begin() + static_cast<std::ptrdiff_t>(begin_));
      begin_ = 0;
    }
    const std::size_t needed = values_.size() + count;
    if (needed > values_.capacity()) values_.reserve(std::max(needed, 2 * values_.capacity()));
  }

  // As reserve().
  void append(std::span<const Value> values) {
    reserve(values.size());
    values_.insert(values_.end(), values.begin(), values.end());
  }

  void drop(std::size_t count) {
    begin_ += count;
    if (!empty()) return;
    begin_ = 0;
    if (values_.capacity() * sizeof(Value) > kKeptBytes) {
      std::vector<Value>().swap(values_);
    } else {
      values_.clear();
    }
  }

 private:
  std::vector<Value> values_;
  std::size_t begin_ = 0;
};

}  // namespace varno
