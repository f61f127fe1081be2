#include "../TestSupport.h"

#include <VarnoLink/FrameWriter.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>

namespace varno::test {
namespace {

// Two connected sockets with little room between them.
class FrameWriterTest : public testing::Test {
 protected:
  FrameWriterTest() {
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends_.data()), 0);
    const int room = 4096;
    ::setsockopt(ends_[0], SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
    ::fcntl(ends_[0], F_SETFL, O_NONBLOCK);
  }
  ~FrameWriterTest() override {
    for (const int end : ends_) ::close(end);
  }

  std::array<int, 2> ends_{};  // to write, to read
};

TEST_F(FrameWriterTest, FramesOfSeveralThreadsAreWholeUnderSignals) {
  constexpr std::size_t kThreads = 3;
  constexpr std::size_t kFrameBytes = 40'000;  // more than the socket takes at once
  constexpr std::size_t kFrames = 20;
  struct sigaction action {};  // without SA_RESTART
  struct sigaction before {};
  action.sa_handler = [](int) {};
  ::sigaction(SIGUSR1, &action, &before);
  FrameWriter writer(ends_[0], std::chrono::milliseconds::max());
  std::vector<std::thread> threads;
  for (std::size_t thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      const Bytes frame(kFrameBytes, static_cast<std::uint8_t>(thread));
      for (std::size_t at = 0; at < kFrames; ++at) EXPECT_TRUE(writer.write(frame));
    });
  }
  Bytes read(kThreads * kFrames * kFrameBytes);
  for (std::size_t at = 0; at < read.size();) {
    for (std::thread& thread : threads) ::pthread_kill(thread.native_handle(), SIGUSR1);
    const ssize_t count = ::read(ends_[1], &read[at], read.size() - at);
    if (count > 0) at += static_cast<std::size_t>(count);
  }
  for (std::thread& thread : threads) thread.join();
  ::sigaction(SIGUSR1, &before, nullptr);
  for (std::size_t at = 0; at < read.size(); at += kFrameBytes) {
    const auto begin = read.begin() + static_cast<std::ptrdiff_t>(at);
    EXPECT_EQ(std::count(begin, begin + kFrameBytes, *begin), std::ptrdiff_t{kFrameBytes});
  }
}

TEST_F(FrameWriterTest, GivesUpWithoutASignal) {
  FrameWriter writer(ends_[0], std::chrono::milliseconds(20));
  EXPECT_TRUE(writer.write(kKeepAlive));
  EXPECT_FALSE(writer.write(Bytes(1'000'000)));  // a peer that does not read
  ::shutdown(ends_[1], SHUT_RDWR);
  EXPECT_FALSE(writer.write(kKeepAlive));  // a peer that is gone

  std::array<int, 2> pipe{};
  ASSERT_EQ(::pipe(pipe.data()), 0);
  EXPECT_NE(thrownBy([&] { FrameWriter waitsForEver(pipe[1]); }), "");
  ::fcntl(pipe[1], F_SETFL, O_NONBLOCK);
  ::close(pipe[0]);
  EXPECT_FALSE(FrameWriter(pipe[1]).write(kKeepAlive));  // a pipe without a reader
  ::close(pipe[1]);
}

}  // namespace
}  // namespace varno::test
