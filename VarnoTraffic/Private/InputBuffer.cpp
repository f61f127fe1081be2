#include <VarnoTraffic/Private/InputBuffer.h>

#include <algorithm>
#include <cstring>
#include <string>

namespace varno {
namespace {

constexpr std::size_t kChunk = std::size_t{1} << 14;

}  // namespace

std::span<const std::uint8_t> InputBuffer::peek(std::size_t count) {
  while (end_ - begin_ < count && fill()) {
  }
  return std::span(bytes_).subspan(begin_, end_ - begin_);
}

void InputBuffer::consume(std::size_t count) {
  begin_ += count;
  offset_ += count;
  if (begin_ == end_) begin_ = end_ = 0;
}

std::uint64_t InputBuffer::skip(std::uint64_t count) {
  std::uint64_t skipped = 0;
  while (skipped < count) {
    const std::size_t ahead = peek(1).size();
    if (ahead == 0) break;
    const auto step = static_cast<std::size_t>(std::min<std::uint64_t>(ahead, count - skipped));
    consume(step);
    skipped += step;
  }
  return skipped;
}

bool InputBuffer::nextLine(std::string_view& line, std::size_t limit, bool& isCut) {
  std::size_t searched = 0;
  std::span<const std::uint8_t> ahead = peek(1);
  if (ahead.empty()) return false;
  const std::uint8_t* end = nullptr;
  for (;;) {
    const std::span<const std::uint8_t> fresh = ahead.subspan(searched);
    end = fresh.empty()
              ? nullptr
              : static_cast<const std::uint8_t*>(std::memchr(fresh.data(), '\n', fresh.size()));
    if (end != nullptr || ahead.size() > limit) break;
    searched = ahead.size();
    ahead = peek(searched + 1);
    if (ahead.size() == searched) break;  // the last line has no end
  }
  const std::size_t length =
      end == nullptr ? ahead.size() : static_cast<std::size_t>(end - ahead.data());
  isCut = length > limit;
  line = {reinterpret_cast<const char*>(ahead.data()), std::min(length, limit)};
  if (!isCut && line.ends_with('\r')) line.remove_suffix(1);
  // The line stays where it is in memory: nothing is read below unless its end is still to come.
  if (end != nullptr) {
    consume(length + 1);
    return true;
  }
  if (!isCut) {
    consume(length);
    return true;
  }
  const std::string front(line);
  for (bool isEnd = false; !isEnd;) {
    const std::span<const std::uint8_t> rest = peek(1);
    if (rest.empty()) break;
    const auto* const found =
        static_cast<const std::uint8_t*>(std::memchr(rest.data(), '\n', rest.size()));
    isEnd = found != nullptr;
    consume(isEnd ? static_cast<std::size_t>(found - rest.data()) + 1 : rest.size());
  }
  cutLine_ = front;
  line = cutLine_;
  return true;
}

bool InputBuffer::fill() {
  if (source_ == nullptr || source_->sgetc() == std::char_traits<char>::eof()) return false;
  if (bytes_.size() - end_ < kChunk) {
    std::copy(bytes_.begin() + static_cast<std::ptrdiff_t>(begin_),
              bytes_.begin() + static_cast<std::ptrdiff_t>(end_), bytes_.begin());
    end_ -= begin_;
    begin_ = 0;
    if (bytes_.size() - end_ < kChunk) bytes_.resize(std::max(2 * bytes_.size(), 2 * kChunk));
  }
  // A stream without a buffer tells of none, and still has the one character that was seen.
  const auto known = std::max<std::streamsize>(source_->in_avail(), 1);
  const auto room = static_cast<std::streamsize>(bytes_.size() - end_);
  const std::streamsize count =
      source_->sgetn(reinterpret_cast<char*>(bytes_.data() + end_), std::min(known, room));
  end_ += static_cast<std::size_t>(count);
  return count > 0;
}

}  // namespace varno
