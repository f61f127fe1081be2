#pragma once

#include <VarnoLink/Clock.h>

#include <asio/basic_waitable_timer.hpp>
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/posix/basic_stream_descriptor.hpp>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>

namespace varno {

using LoopExecutor = asio::io_context::executor_type;
using LoopDescriptor = asio::posix::basic_stream_descriptor<LoopExecutor>;
using LoopTimer =
    asio::basic_waitable_timer<std::chrono::steady_clock,
                               asio::wait_traits<std::chrono::steady_clock>, LoopExecutor>;

// What a loop and those that belong to it share.
class LoopCore {
 public:
  asio::io_context& context() { return context_; }
  const Clock& clock() const { return clock_; }

  // What is read lies here while a handler looks at it. One for all links of the loop: no more than
  // one of them reads at a time.
  std::span<std::uint8_t> readBuffer() { return readBuffer_; }

 private:
  asio::io_context context_{1};  // the number of threads in run()
  // Without it the context would stop by itself whenever nothing is to be waited for.
  asio::executor_work_guard<LoopExecutor> work_{context_.get_executor()};
  SystemClock clock_;
  std::array<std::uint8_t, std::size_t{256} << 10> readBuffer_;
};

}  // namespace varno
