#include "TestSupport.h"
#include "examples/link/MainLoop.h"
#include "examples/link/SocketLink.h"

#include <VarnoNetwork/VarnoNetwork.h>

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

namespace varno::test {
namespace {

using example::Descriptor;
using example::ListeningSocket;
using example::SocketAddress;
using example::SocketLink;
using example::SocketLinkOptions;

example::Deadline inAMinute() { return std::chrono::steady_clock::now() + std::chrono::minutes(1); }

// Waits for bytes and appends them.
void readInto(Bytes& bytes, const Descriptor& far) {
  pollfd polled{far.number(), POLLIN, 0};
  if (!example::pollUntil({&polled, 1}, inAMinute())) throw std::runtime_error("nothing came");
  const std::size_t before = bytes.size();
  bytes.resize(before + 16'384);
  const ssize_t count = ::read(far.number(), &bytes[before], bytes.size() - before);
  if (count == 0) throw std::runtime_error("the link hung up");
  bytes.resize(before + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
}

// With time limits that no test reaches, so that only the tested cause ends a link.
SocketLinkOptions patient() {
  SocketLinkOptions options;
  options.connectTimeout = options.writeTimeout = options.firstPause = options.longestPause =
      std::chrono::hours(1);
  return options;
}

class SocketLinkTest : public ::testing::TestWithParam<const char*> {
 protected:
  // Where a display listens.
  const SocketAddress address_{GetParam() == std::string("Tcp")
                                   ? "127.0.0.1:0"
                                   : ::testing::TempDir() + "varno" + std::to_string(::getpid()) +
                                         ".socket"};
  RecordingNetwork network_;
};

INSTANTIATE_TEST_SUITE_P(, SocketLinkTest, ::testing::Values("Tcp", "Unix"),
                         [](const auto& transport) { return std::string(transport.param); });

TEST_P(SocketLinkTest, ConnectsAgainAfterTornFrame) {
  MainThreadScope scope;
  const LogCapture log;
  const auto listener = std::make_shared<RecordingListener>();
  network_.registerPacketHandleDelegate(listener);
  std::vector<std::string> told;
  SocketLink* writer = nullptr;
  SocketLinkOptions options;
  options.onUp = [&] {
    told.emplace_back(writer->write(kKeepAlive) ? "up" : "takes nothing");
    throw 7;  // must not end the connection
  };
  options.onDown = [&](const std::string& reason) {
    told.push_back(writer->write(kKeepAlive) ? "takes frames" : reason);
  };
  options.firstPause = options.longestPause = std::chrono::milliseconds(1);
  const ListeningSocket display(address_);
  SocketLink link(network_, display.address(), std::move(options));
  writer = &link;
  example::MainLoop loop(scope.queue());
  EXPECT_FALSE(link.write(kKeepAlive));
  link.start();
  for (const std::size_t events : {2U, 4U}) {
    const Descriptor far = display.accept(inAMinute());
    example::FrameWriter(far.number()).write(bytes("02 7D 7F 0F 00 03 02 7D 7F"));
    ::shutdown(far.number(), SHUT_WR);
    EXPECT_TRUE(loop.runUntil(inAMinute(), [&] { return told.size() == events; }));
    Bytes read;
    readInto(read, far);
    EXPECT_EQ(hex(read), hex(kKeepAlive));
  }
  loop.quit();
  link.stop();
  const std::string end = "the other side hung up";
  EXPECT_EQ(told, (std::vector<std::string>{"up", end, "up", end}));
  EXPECT_EQ(listener->take().size(), 2U);
  EXPECT_EQ(link.counts().tornFrames, 2U);
  EXPECT_EQ(link.counts().skippedBytes, 6U);
}

TEST_P(SocketLinkTest, WritesWholeFramesUnderSignals) {
  constexpr std::size_t kFrames = 20;
  static std::atomic<int> signals;
  struct sigaction action = {};  // without SA_RESTART
  struct sigaction before = {};
  action.sa_handler = [](int) { ++signals; };
  ::sigaction(SIGUSR1, &action, &before);

  Bytes frame(400'000, 'a');  // more than a socket takes at once
  frame.front() = STX;
  frame.back() = ETX;
  const ListeningSocket display(address_);
  SocketLink link(network_, display.address(), patient());
  link.start();
  const Descriptor far = display.accept(inAMinute());
  const int room = 200'000;  // no less: TCP sends pieces of 64 kB within the machine, or waits
  ::setsockopt(far.number(), SOL_SOCKET, SO_RCVBUF, &room, sizeof room);

  std::size_t sent = 0;
  std::thread sender([&] {
    while (!link.write(kKeepAlive)) std::this_thread::yield();  // it may not know that it is up
    while (sent < kFrames && link.write(frame)) ++sent;
  });
  Bytes expected = kKeepAlive;
  for (std::size_t at = 0; at < kFrames; ++at) {
    expected.insert(expected.end(), frame.begin(), frame.end());
  }
  Bytes read;
  EXPECT_EQ(thrownBy([&] {
              while (read.size() < expected.size()) {
                ::pthread_kill(sender.native_handle(), SIGUSR1);
                readInto(read, far);
              }
            }),
            "");
  link.stop();
  sender.join();
  ::sigaction(SIGUSR1, &before, nullptr);
  EXPECT_EQ(sent, kFrames);
  EXPECT_TRUE(read == expected);
  EXPECT_GT(signals.exchange(0), 0);
}

TEST_P(SocketLinkTest, StopsInWhateverItIs) {
  network_.registerPacketHandleDelegate(std::make_shared<RecordingListener>());
  enum class State { kConnecting, kReading, kTelling, kDelivering, kWriting };
  for (const State state : {State::kConnecting, State::kReading, State::kTelling,
                            State::kDelivering, State::kWriting}) {
    SCOPED_TRACE(static_cast<int>(state));
    MainThreadScope scope;
    example::WakePipe isWaiting;  // for the main thread, which never runs the task
    scope.queue().setWakeUp([&] { isWaiting.wake(); });
    // One connection fills it. The next one hangs on TCP; a Unix socket refuses it at once, so that
    // the link pauses.
    const ListeningSocket display(address_, 0);
    Descriptor far(-1);
    SocketLinkOptions options = patient();
    if (state == State::kConnecting) {
      far = *example::connectSocket(display.address(), inAMinute(), isWaiting);
    } else if (state == State::kTelling) {
      options.onUp = [] { ADD_FAILURE(); };
    }
    SocketLink link(network_, display.address(), std::move(options));
    link.start();
    std::future<bool> written;
    if (state == State::kConnecting) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    } else {
      far = display.accept(inAMinute());
    }
    if (state == State::kDelivering) example::FrameWriter(far.number()).write(kKeepAlive);
    if (state == State::kTelling || state == State::kDelivering) {
      pollfd polled{isWaiting.descriptor(), POLLIN, 0};
      EXPECT_TRUE(example::pollUntil({&polled, 1}, inAMinute()));
    } else if (state == State::kWriting) {
      written = std::async(std::launch::async, [&] {
        while (!link.write(kKeepAlive)) std::this_thread::yield();
        return link.write(Bytes(32'000'000));
      });
      for (Bytes read; read.size() <= kKeepAlive.size();) readInto(read, far);
    }
    scope.queue().quit();
    link.stop();
    EXPECT_FALSE(link.write(kKeepAlive));
    EXPECT_FALSE(written.valid() && written.get());
  }
}

}  // namespace
}  // namespace varno::test
