#include "../MainThreadFixture.h"

#include <VarnoLink/VarnoLink.h>
#include <VarnoNetwork/VarnoNetwork.h>

#include <gmock/gmock.h>
#include <malloc.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <thread>

namespace varno::test {
namespace {

using SteadyClock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using testing::ElementsAre;

// How many of what the process holds: of its descriptors in "fd", of its threads in "task".
std::ptrdiff_t held(const char* what) {
  const std::filesystem::directory_iterator begin(std::string("/proc/self/") + what);
  return std::distance(begin, std::filesystem::directory_iterator());
}

// A sanitizer starts a thread of its own with the first of the program's; one that was joined may
// still be seen for a moment.
std::ptrdiff_t threadsOnceOneWasMade() {
  std::thread([] {}).join();
  return held("task");
}

// Holds up the peer while it is told to.
class Brake : public TrafficObserver {
 public:
  void onBytes(LinkTime, Direction, std::span<const std::uint8_t>, std::string_view) override {}
  void onRecord(const TrafficRecord&) override {}
  bool isBehind() const override { return isOn; }

  std::atomic<bool> isOn = false;
};

LinkNetworkOptions quick() {
  LinkNetworkOptions options;
  options.link.firstPause = options.link.longestPause = milliseconds(1);
  return options;
}

// One side of a link, and what it was told.
class Side {
 public:
  Side(const Address& address, LinkNetworkOptions options)
      : network(std::in_place, address, prepared(std::move(options))) {
    network->registerPacketHandleDelegate(router);
  }

  bool isUp() const { return network->status().state == LinkState::kUp; }

  std::vector<LinkStatus> told;
  std::function<void()> onTime;
  std::vector<std::int64_t> times;
  const std::shared_ptr<PacketRouter> router = std::make_shared<PacketRouter>();
  const PacketRouter::Subscription subscription =
      router->on<SystemTimeCommandPacket>([this](const SystemTimeCommandPacket& packet) {
        times.push_back(packet.timeInMillis());
        if (const auto action = onTime) action();
      });
  std::optional<LinkNetwork> network;

 private:
  LinkNetworkOptions prepared(LinkNetworkOptions options) {
    options.onStatus = [this](const LinkStatus& status) { told.push_back(status); };
    return options;
  }
};

SystemTimeCommandPacket timePacket(std::int64_t time) {
  SystemTimeCommandPacket packet;
  packet.setTimeInMillis(time);
  return packet;
}

std::vector<std::int64_t> upTo(std::int64_t last) {
  std::vector<std::int64_t> times;
  for (std::int64_t time = 1; time <= last; ++time) times.push_back(time);
  return times;
}

// Both sides of a link, in one process with one main thread.
class LinkNetworkTest : public testing::TestWithParam<const char*> {
 protected:
  std::string kind() const { return GetParam(); }
  bool isTerminal() const { return kind() == "Terminal"; }

  Address displayAddress() const {
    if (kind() == "Tcp") return Address::tcpListen("127.0.0.1", port_);
    if (kind() == "Unix") return Address::unixListen(path_);
    return Address::pty();
  }

  void await(const char* what, const std::function<bool()>& isDone) {
    const auto deadline = SteadyClock::now() + std::chrono::seconds(30);
    // What it asks for may come without a task of the main thread.
    while (!tasks_.runUntil(SteadyClock::now() + milliseconds(1), isDone)) {
      if (SteadyClock::now() > deadline) throw std::runtime_error(std::string("in vain: ") + what);
    }
  }

  void startDisplay(LinkNetworkOptions options = quick()) {
    options.sends = Direction::kToPhone;
    display_.emplace(displayAddress(), std::move(options));
    display_->network->start();
    await("a display that listens",
          [&] { return display_->network->status().state != LinkState::kDown; });
    port_ = display_->network->status().address.port();
  }

  void startPhone(LinkNetworkOptions options = quick()) {
    phone_.emplace(display_->network->status().address.counterpart(), std::move(options));
    phone_->network->start();
  }

  void awaitUp() {
    await("a connection", [&] { return phone_->isUp() && display_->isUp(); });
  }

  void sendTimes(std::int64_t first, std::int64_t last) {
    for (std::int64_t time = first; time <= last; ++time) {
      while (!phone_->network->sendPacket(timePacket(time))) tasks_.dispatch();
    }
  }

  void TearDown() override {
    phone_.reset();
    display_.reset();
    // A link's thread that is not given the processor ends behind its network.
    const auto deadline = SteadyClock::now() + std::chrono::seconds(30);
    while (held("task") > threads_ && SteadyClock::now() < deadline) {
      std::this_thread::sleep_for(milliseconds(1));
    }
    EXPECT_LE(held("task"), threads_);
    EXPECT_EQ(held("fd"), descriptors_);
  }

  MainThreadScope scope_;
  MainThreadDescriptor tasks_{scope_.queue()};
  const std::string path_ =
      testing::TempDir() + "varno-network" + std::to_string(::getpid()) + ".socket";
  std::uint16_t port_ = 0;
  std::optional<Side> display_;
  std::optional<Side> phone_;
  const std::ptrdiff_t descriptors_ = held("fd");
  const std::ptrdiff_t threads_ = threadsOnceOneWasMade();
};

INSTANTIATE_TEST_SUITE_P(, LinkNetworkTest, testing::Values("Tcp", "Unix", "Terminal"),
                         [](const auto& kind) { return std::string(kind.param); });

TEST_P(LinkNetworkTest, ConnectsWhoeverComesFirst) {
  startDisplay();
  EXPECT_FALSE(phone_.has_value());
  startPhone();
  if (!isTerminal()) {  // a terminal that is gone leaves no address behind
    display_.reset();
    await("an attempt that fails",
          [&] { return !phone_->told.empty() && phone_->told.back().state == LinkState::kDown; });
    EXPECT_NE(phone_->told.back().reason, "");
    EXPECT_FALSE(phone_->network->sendPacket(timePacket(1)));
    startDisplay();
  }
  awaitUp();
  SocialNotificationPacket message;
  message.setMessage(std::string(20'000, '}'));
  std::size_t received = 0;
  const auto subscription = display_->router->on<SocialNotificationPacket>(
      [&](const SocialNotificationPacket& packet) { received = packet.message()->size(); });
  // Single bytes, both ways.
  phone_->network->addFault(Direction::kToDisplay, {.kind = FaultKind::kSlicer, .size = 1});
  phone_->network->addFault(Direction::kToPhone, {.kind = FaultKind::kSlicer, .size = 1});
  sendTimes(1, 3);
  EXPECT_TRUE(phone_->network->sendPacket(message));
  EXPECT_TRUE(display_->network->sendPacket(timePacket(1)));
  await("all packets", [&] { return received > 0 && phone_->times.size() == 1; });
  EXPECT_EQ(display_->times, upTo(3));
  EXPECT_EQ(received, 20'000U);
  EXPECT_TRUE(phone_->network->flush(std::chrono::seconds(10)));
  EXPECT_EQ(phone_->told.back().state, LinkState::kUp);
  EXPECT_EQ(phone_->network->faults(Direction::kToPhone).at(0).acted, 1U);
}

TEST_P(LinkNetworkTest, APeerThatStopsReadingIsWaitedForByNobody) {
  const auto brake = std::make_shared<Brake>();
  LinkNetworkOptions options = quick();
  options.observer = brake;
  startDisplay(std::move(options));
  LinkNetworkOptions limited = quick();
  limited.maxSendBytes = 100'000;
  startPhone(std::move(limited));
  awaitUp();
  brake->isOn = true;
  std::int64_t sent = 0;
  SystemTimeCommandPacket packet = timePacket(0);
  packet.setTimeZoneId(std::string(10'000, 'z'));
  const auto send = [&] {
    packet.setTimeInMillis(sent + 1);
    const bool isSent = phone_->network->sendPacket(packet);
    sent += isSent ? 1 : 0;
    return isSent;
  };
  // What the system and the display took before the brake held is made good for.
  for (int refused = 0; refused < 20; send() ? refused = 0 : ++refused) {
    phone_->network->flush(milliseconds(1));
  }
  EXPECT_FALSE(phone_->network->flush(milliseconds(0)));
  brake->isOn = false;
  await("what was held up", [&] { return std::ssize(display_->times) == sent; });
  EXPECT_EQ(display_->times, upTo(sent));
  EXPECT_TRUE(phone_->network->flush(std::chrono::seconds(10)));
  EXPECT_EQ(phone_->network->linkCounters().lostFrames, 0U);
  EXPECT_EQ(phone_->network->linkCounters().sentFrames, static_cast<std::uint64_t>(sent));
}

TEST_P(LinkNetworkTest, ComesBackAThousandTimesFromTheMiddleOfAFrame) {
  constexpr std::size_t kWarmUps = 50;
  // A pseudo-terminal looks every 20 ms whether somebody has opened it.
  const std::size_t connections = isTerminal() ? 100 : 1000;
  startDisplay();
  startPhone();
  awaitUp();
  const std::size_t size = frameOf(timePacket(1)).size();
  phone_->network->addFault(Direction::kToDisplay, {.kind = FaultKind::kLimit, .bytes = size + 5});
  std::size_t memory = 0;
  std::vector<bool> given;
  for (std::size_t connection = 1; connection <= connections; ++connection) {
    await("a connection", [&] { return phone_->isUp() && display_->isUp(); });
    const auto note = [&](bool isGiven) { given.push_back(isGiven); };
    EXPECT_TRUE(phone_->network->sendPacket(timePacket(1), note));
    EXPECT_TRUE(phone_->network->sendPacket(timePacket(2), note));
    await("the end of a connection", [&] {
      return phone_->network->linkCounters().connections == connection + 1 &&
             display_->times.size() == connection;
    });
    phone_->told.clear();
    display_->told.clear();
    if (connection == kWarmUps) memory = ::mallinfo2().uordblks;
  }
  EXPECT_LT(::mallinfo2().uordblks, memory + 100'000);
  EXPECT_EQ(given.size(), 2 * connections);
  phone_.reset();
  await("the end of the last one", [&] { return !display_->isUp(); });
  EXPECT_EQ(display_->network->linkCounters().received.pieces.tornFrames, connections);
}

TEST_P(LinkNetworkTest, EndsInsideAListener) {
  const std::vector<std::pair<const char*, std::function<void()>>> ends = {
      {"stop", [&] { phone_->network->stop(); }},
      {"destroy", [&] { phone_->network.reset(); }},
      {"stop on another thread, and wait for it",
       [&] { std::thread([&] { phone_->network->stop(); }).join(); }},
      {"destroy on another thread, and wait for it",
       [&] { std::thread([&] { phone_->network.reset(); }).join(); }}};
  for (const char* const where : {"listener", "status", "given"}) {
    for (const auto& [name, end] : ends) {
      SCOPED_TRACE(std::string(where) + ": " + name);
      startDisplay();
      startPhone();
      if (where == std::string("status")) {
        const auto isUp = [&] {
          return !phone_->told.empty() && phone_->told.back().state == LinkState::kUp;
        };
        await("the status", isUp);
        end();
      } else {
        awaitUp();
        bool isOver = false;
        const auto act = [&, &end = end] {
          if (!std::exchange(isOver, true)) end();
        };
        phone_->onTime = act;
        for (int packet = 1; packet <= 10; ++packet) {  // some wait when it ends
          EXPECT_TRUE(display_->network->sendPacket(timePacket(packet)));
          const auto onGiven = [&](bool) { act(); };
          if (where == std::string("given")) phone_->network->sendPacket(timePacket(1), onGiven);
        }
        await("the end", [&] { return isOver; });
      }
      const std::size_t times = phone_->times.size();
      const std::size_t told = phone_->told.size();
      await("the display's loss", [&] { return !display_->isUp(); });
      tasks_.dispatch();
      EXPECT_EQ(phone_->times.size(), times);
      EXPECT_EQ(phone_->told.size(), told);
      if (phone_->network) {
        EXPECT_FALSE(phone_->network->sendPacket(timePacket(1)));
        EXPECT_EQ(phone_->network->status().reason, "stopped");
        EXPECT_NE(thrownBy([&] { phone_->network->start(); }), "");
      }
    }
  }
}

TEST_P(LinkNetworkTest, AListenerThatThrowsCostsNoOtherPacket) {
  startDisplay();
  startPhone();
  awaitUp();
  display_->onTime = [&] {
    if (display_->times.size() % 2 == 0) throw 7;
  };
  sendTimes(1, 10);
  int thrown = 0;
  while (display_->times.size() < 10) {
    thrown +=
        thrownBy([&] { await("packets", [&] { return display_->times.size() == 10; }); }) == "int 7"
            ? 1
            : 0;
  }
  EXPECT_EQ(display_->times, upTo(10));
  EXPECT_EQ(thrown, 5);
  EXPECT_EQ(display_->network->linkCounters().connections, 1U);
}

// With a main thread that runs nothing, and much that waits.
TEST_P(LinkNetworkTest, StopsWhateverWaits) {
  startDisplay();
  LinkNetworkOptions options = quick();
  options.maxReceiveFrames = 10;
  startPhone(std::move(options));
  awaitUp();
  for (int packet = 0; packet < 1000; ++packet) {
    display_->network->sendPacket(timePacket(packet));
    phone_->network->sendPacket(timePacket(packet));
  }
  display_->network->flush(milliseconds(20));
  EXPECT_LE(phone_->network->linkCounters().received.waitingFrames, 1000U);
  phone_->network.reset();
  display_->network.reset();
  EXPECT_TRUE(phone_->times.empty());
  tasks_.dispatch();
  EXPECT_TRUE(phone_->times.empty());
  EXPECT_TRUE(display_->times.empty());
}

TEST_P(LinkNetworkTest, AnObserverSeesBothWaysAndMayFail) {
  class Failing : public RecordCutter {
   public:
    using RecordCutter::RecordCutter;
    void onBytes(LinkTime time, Direction direction, std::span<const std::uint8_t> passed,
                 std::string_view note) override {
      RecordCutter::onBytes(time, direction, passed, note);
      const int failure = next.exchange(0);
      if (failure == 1) throw std::runtime_error("no more");
      if (failure == 2) throw std::bad_alloc();
    }
    std::atomic<int> next = 0;
  };
  LogCapture log;
  std::vector<std::string> seen;
  const auto observer = std::make_shared<Failing>([&](const TrafficRecord& record) {
    seen.push_back((record.direction ? std::string(directionText(*record.direction)) + " " : "") +
                   std::string(recordKindText(record.kind)) + " " + record.note);
  });
  startDisplay();
  LinkNetworkOptions options = quick();
  options.observer = observer;
  startPhone(std::move(options));
  awaitUp();
  phone_->network->addFault(Direction::kToDisplay,
                            {.kind = FaultKind::kCorrupt, .byte = 1, .bit = 7, .count = 1});
  phone_->network->sendPacket(timePacket(1));
  phone_->network->sendPacket(timePacket(2));
  await("the second packet", [&] { return display_->times.size() == 1; });
  phone_->network->addFault(Direction::kToPhone, {.kind = FaultKind::kDuplicate, .count = 1});
  observer->next = 1;
  display_->network->sendPacket(timePacket(1));
  await("a packet, and the next, although the observer failed",
        [&] { return phone_->times.size() == 2 && observer->next == 0; });
  observer->next = 2;
  phone_->told.clear();
  display_->network->sendPacket(timePacket(2));
  await("a new connection", [&] { return phone_->network->linkCounters().connections == 2; });
  await("the news of it", [&] { return phone_->told.size() >= 3; });
  EXPECT_EQ(phone_->told.front().state, LinkState::kDown);
  EXPECT_EQ(phone_->told.front().reason, "out of memory");
  phone_->network->stop();
  EXPECT_THAT(seen, ElementsAre("link up ", "> fault corrupt byte=1 bit=7", "> frame ", "< frame ",
                                "< fault duplicate", "< frame ", "link down out of memory",
                                "link up ", "link down stopped"));
  EXPECT_THAT(log.take(), ElementsAre("the link's thread got exception : no more"));
}

TEST_P(LinkNetworkTest, WhatTheMainThreadIsStillToBeToldIsBounded) {
  startDisplay();
  LinkNetworkOptions options = quick();
  options.maxSendFrames = 10;
  startPhone(std::move(options));
  awaitUp();
  int accepted = 0;
  int told = 0;
  for (int packet = 0; packet < 200; ++packet) {
    accepted += phone_->network->sendPacket(timePacket(1), [&](bool) { ++told; }) ? 1 : 0;
    phone_->network->flush(std::chrono::seconds(10));
  }
  EXPECT_LE(accepted, 20);
  EXPECT_TRUE(phone_->network->sendPacket(timePacket(1)));
  await("what became of them", [&] { return told == accepted; });
}

TEST(MainThreadDescriptor, OfOneQueueIsSharedAndWokenByALinkThatTellsNobody) {
  MainThreadScope scope;
  MainThreadDescriptor tasks(scope.queue());
  { const MainThreadDescriptor second(scope.queue()); }
  std::array<int, 2> ends{};
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
  const LinkNetwork display(ends[0]);
  LinkNetwork phone(ends[1]);
  phone.start();
  const auto isUp = [&] { return phone.status().state == LinkState::kUp; };
  EXPECT_TRUE(tasks.runUntil(SteadyClock::now() + std::chrono::seconds(30), isUp));
  // At the deadline it is asked once more.
  EXPECT_TRUE(tasks.runUntil(SteadyClock::now(), [&, calls = 0]() mutable { return ++calls > 1; }));
}

TEST(LinkNetworkOverADescriptor, StaysDownAfterItsEnd) {
  MainThreadScope scope;
  MainThreadDescriptor tasks(scope.queue());
  std::array<int, 2> ends{};
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
  std::optional<LinkNetwork> display(std::in_place, ends[0]);
  const auto listener = std::make_shared<RecordingListener>();
  std::string reason;
  LinkNetwork phone(ends[1],
                    {.onStatus = [&](const LinkStatus& status) { reason = status.reason; }});
  phone.registerPacketHandleDelegate(listener);
  display->start();
  phone.start();
  const auto soon = SteadyClock::now() + std::chrono::seconds(30);
  while (!display->sendPacket(KeepAliveCommandPacket()) && SteadyClock::now() < soon) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_TRUE(display->flush(std::chrono::seconds(30)));
  display.reset();
  EXPECT_TRUE(tasks.runUntil(soon, [&] { return !reason.empty(); }));
  EXPECT_EQ(listener->take().size(), 1U);
  EXPECT_EQ(phone.status().state, LinkState::kDown);
}

// Although a write has failed since, with much of it still to be read.
TEST(LinkNetworkOverADescriptor, GivesAllThatThePeerSentBeforeItWent) {
  MainThreadScope scope;
  MainThreadDescriptor tasks(scope.queue());
  std::array<int, 2> ends{};
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
  std::string reason;
  LinkNetwork phone(ends[1], {.onStatus = [&](const LinkStatus& status) { reason = status.reason; },
                              .maxReceiveFrames = 1});
  phone.start();
  const auto soon = SteadyClock::now() + std::chrono::seconds(30);
  const auto isFull = [&] { return phone.linkCounters().received.waitingFrames > 0; };
  EXPECT_EQ(::send(ends[0], kKeepAlive.data(), kKeepAlive.size(), 0), std::ssize(kKeepAlive));
  while (!isFull() && SteadyClock::now() < soon) std::this_thread::sleep_for(milliseconds(1));
  for (int frame = 0; frame < 100; ++frame) {
    EXPECT_EQ(::send(ends[0], kKeepAlive.data(), kKeepAlive.size(), 0), std::ssize(kKeepAlive));
  }
  ::close(ends[0]);
  for (int packet = 0; packet < 3; ++packet) {
    phone.sendPacket(KeepAliveCommandPacket());
    std::this_thread::sleep_for(milliseconds(5));
  }
  EXPECT_TRUE(tasks.runUntil(soon, [&] { return !reason.empty(); }));
  EXPECT_EQ(phone.linkCounters().received.pieces.frames, 101U);
  EXPECT_EQ(reason, "the peer hung up");
}

}  // namespace
}  // namespace varno::test
