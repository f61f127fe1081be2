#include "TestSupport.h"
#include "examples/link/DescriptorNetwork.h"
#include "examples/link/FrameReader.h"
#include "examples/link/FrameWriter.h"
#include "examples/link/MainLoop.h"

#include <VarnoNetwork/VarnoNetwork.h>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>

namespace varno::test {
namespace {

using example::Descriptor;

// Two connected sockets that do not block, with little room between them.
struct SocketPair {
  SocketPair() {
    std::array<int, 2> numbers{};
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, numbers.data()) != 0) {
      example::throwErrno("socketpair");
    }
    near = Descriptor(numbers[0]);
    far = Descriptor(numbers[1]);
    const int room = 4096;
    ::setsockopt(numbers[0], SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
    for (const int number : numbers) example::makeNonBlocking(number);
  }

  Descriptor near{-1};
  Descriptor far{-1};
};

TEST(FrameLink, CarriesWholeFramesOfSeveralThreads) {
  constexpr std::size_t kThreads = 3;
  constexpr std::size_t kPacketsEach = 20;
  MainThreadScope scope;
  const LogCapture log;
  SocketPair sockets;
  example::DescriptorNetwork network(sockets.near.number());
  const auto listener = std::make_shared<RecordingListener>();
  bool hasThrown = false;
  listener->action = [&](const auto&) {
    if (!std::exchange(hasThrown, true)) throw 7;  // loses neither this frame nor another
  };
  network.registerPacketHandleDelegate(listener);
  std::string end;
  example::FrameReader reader(network, sockets.far.number(),
                              [&](const std::string& reason) { end = reason; });
  example::MainLoop loop(scope.queue());
  reader.start();

  auto senders = std::async(std::launch::async, [&] {
    std::vector<std::future<std::size_t>> threads(kThreads);
    for (auto& thread : threads) {
      thread = std::async(std::launch::async, [&] {
        SocialNotificationPacket packet;
        packet.setMessage(std::string(20'000, '}'));  // 40,000 bytes of a frame
        std::size_t sent = 0;
        while (sent < kPacketsEach && network.sendPacket(packet)) ++sent;
        return sent;
      });
    }
    std::size_t sent = 0;
    for (auto& thread : threads) sent += thread.get();
    example::FrameWriter(sockets.near.number()).write(bytes("02 01"));  // torn by the end
    ::shutdown(sockets.near.number(), SHUT_WR);
    return sent;
  });
  EXPECT_TRUE(loop.runUntil(std::chrono::steady_clock::now() + std::chrono::minutes(1),
                            [&] { return !end.empty(); }));
  EXPECT_EQ(senders.get(), kThreads * kPacketsEach);
  EXPECT_EQ(end, "the other side hung up");
  reader.stop();
  EXPECT_EQ(listener->take().size(), kThreads * kPacketsEach);
  EXPECT_EQ(reader.failedFrames(), 1U);
  EXPECT_EQ(reader.counts().tornFrames, 1U);
  EXPECT_EQ(reader.counts().skippedBytes, 2U);
}

TEST(FrameLink, StopsWithoutTheMainThread) {
  for (const bool isDelivering : {false, true}) {
    SCOPED_TRACE(isDelivering);
    MainThreadScope scope;
    SocketPair sockets;
    example::DescriptorNetwork network(sockets.near.number());
    network.registerPacketHandleDelegate(std::make_shared<RecordingListener>());
    example::WakePipe isWaiting;  // for the main thread, which never runs the delivery
    scope.queue().setWakeUp([&] { isWaiting.wake(); });
    example::FrameReader reader(network, sockets.far.number(),
                                [](const std::string& reason) { ADD_FAILURE() << reason; });
    reader.start();
    if (isDelivering) {
      EXPECT_TRUE(network.sendPacket(KeepAliveCommandPacket()));
      pollfd polled{isWaiting.descriptor(), POLLIN, 0};
      EXPECT_TRUE(example::pollUntil({&polled, 1}, std::nullopt));
    }
    scope.queue().quit();
    reader.stop();
  }
}

TEST(FrameLink, WriterGivesUpWithoutSignal) {
  std::array<int, 2> pipe{};
  ASSERT_EQ(::pipe(pipe.data()), 0);
  const Descriptor in(pipe[1]);
  ::close(pipe[0]);
  EXPECT_FALSE(example::FrameWriter(in.number()).write(kKeepAlive));  // a pipe without a reader

  SocketPair sockets;
  example::FrameWriter writer(sockets.near.number(), std::chrono::milliseconds(20));
  EXPECT_FALSE(writer.write(Bytes(1'000'000)));  // a peer that does not read
  sockets.far = Descriptor(-1);
  EXPECT_FALSE(writer.write(kKeepAlive));  // a peer that is gone
}

}  // namespace
}  // namespace varno::test
