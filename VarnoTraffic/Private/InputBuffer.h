#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace varno {

// Looks ahead in a stream. Takes from it what is there and waits only for what is asked for, so
// that what comes through a pipe is seen as it comes. Memory grows with what has been read ahead,
// never with a length that was only announced.
class InputBuffer {
 public:
  // stream: outlives the buffer, which reads it through its stream buffer alone.
  explicit InputBuffer(std::istream& stream) : source_(stream.rdbuf()) {}

  // What lies ahead: at least so many bytes, or all there are until the end. Valid until the next
  // operation.
  std::span<const std::uint8_t> peek(std::size_t count);

  // Goes forward over bytes that were seen.
  void consume(std::size_t count);

  // Goes forward over bytes without keeping them; returns how many there were.
  std::uint64_t skip(std::uint64_t count);

  // Where the next byte lies in the stream.
  std::uint64_t offset() const { return offset_; }

  // A line without its end, "\n" or "\r\n"; false at the end. Of one that is longer than the limit
  // the front, the rest of it is skipped; isCut tells so. Valid until the next operation.
  bool nextLine(std::string_view& line, std::size_t limit, bool& isCut);

 private:
  bool fill();

  std::streambuf* source_;
  std::vector<std::uint8_t> bytes_;
  std::size_t begin_ = 0;  // of what lies ahead in bytes_
  std::size_t end_ = 0;
  std::uint64_t offset_ = 0;
  std::string cutLine_;
};

}  // namespace varno
