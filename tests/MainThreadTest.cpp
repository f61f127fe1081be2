#include "TestSupport.h"

#include <VarnoNetwork/Network/Command/SystemTimeCommandPacket.h>
#include <VarnoNetwork/Network/HudOutputStream.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <numeric>
#include <set>

namespace varno::test {
namespace {

using testing::ElementsAre;

Bytes frameAt(std::int64_t time) {
  SystemTimeCommandPacket packet;
  packet.setTimeInMillis(time);
  return frameOf(packet);
}

std::int64_t timeOf(const std::shared_ptr<HudPacket>& packet) {
  return std::dynamic_pointer_cast<SystemTimeCommandPacket>(packet)->timeInMillis();
}

// A background thread whose action's exception is its result.
template <class Action>
std::future<std::string> startThread(Action action) {
  return std::async(std::launch::async, [action = std::move(action)] { return thrownBy(action); });
}

class MainThreadTest : public testing::Test {
 protected:
  MainThreadTest() {
    network.registerPacketHandleDelegate(listener);
    queue.setWakeUp([this] { ++arrived; });
  }
  // Until so many tasks have come to the queue.
  void awaitTasks(int count) {
    while (arrived < count) std::this_thread::yield();
  }

  MainThreadScope mainThread;
  MainThreadQueue& queue = mainThread.queue();
  std::atomic<int> arrived = 0;
  RecordingNetwork network;
  const std::shared_ptr<RecordingListener> listener = std::make_shared<RecordingListener>();
  const Bytes frame = frameAt(1);
};

TEST_F(MainThreadTest, StandardQueueBelongsToTheThreadThatStartedTheProgram) {
  MainThread::setInstance(nullptr);
  EXPECT_EQ(&MainThread::instance(), &MainThreadQueue::standard());
  EXPECT_TRUE(MainThread::instance().isCurrent());
  std::async(std::launch::async, [] { EXPECT_FALSE(MainThread::instance().isCurrent()); }).get();
}

TEST_F(MainThreadTest, ClosedBeforeTheyCome) {
  queue.quit();
  EXPECT_EQ(startThread([&] { network.handleRawPacket(frame); }).get(), kClosed);
  expectLockIsFree(network);
  queue.run();  // returns at once
  EXPECT_EQ(queue.runPending(), 0U);
  network.handleRawPacket(frame);  // the main thread itself needs no queue
  EXPECT_EQ(listener->take().size(), 1U);
  network.unregisterPacketHandleDelegate(listener);
  EXPECT_EQ(startThread([&] { network.handleRawPacket(frame); }).get(), "");
}

TEST_F(MainThreadTest, ClosedWhileTheyWait) {
  RecordingNetwork other;
  other.registerPacketHandleDelegate(listener);
  std::vector<std::future<std::string>> results;
  for (RecordingNetwork* each : {&network, &network, &network, &other}) {
    results.push_back(startThread([=, this] { each->handleRawPacket(frame); }));
  }
  awaitTasks(2);  // one of each network; the others wait for the listener lock
  queue.quit();
  for (auto& result : results) EXPECT_EQ(result.get(), kClosed);
  EXPECT_TRUE(listener->take().empty());
  expectLockIsFree(network);
}

TEST_F(MainThreadTest, ClosedByATask) {
  RecordingNetwork other;
  other.registerPacketHandleDelegate(listener);
  listener->action = [&](auto&&) { queue.quit(); };
  auto first = startThread([&] { network.handleRawPacket(frame); });
  awaitTasks(1);
  auto second = startThread([&] { other.handleRawPacket(frame); });
  awaitTasks(2);
  EXPECT_EQ(queue.runPending(), 1U);
  EXPECT_EQ(first.get(), "");
  EXPECT_EQ(second.get(), kClosed);
  EXPECT_EQ(listener->take().size(), 1U);
}

TEST_F(MainThreadTest, DestroyedWhileTheyWait) {
  auto passing = std::make_unique<MainThreadQueue>();
  passing->setWakeUp([this] { ++arrived; });
  const auto wait = [&queue = *passing] { queue.runAndWait([] { FAIL(); }); };
  std::future<std::string> results[] = {startThread(wait), startThread(wait), startThread(wait)};
  awaitTasks(3);
  passing.reset();
  for (auto& result : results) EXPECT_EQ(result.get(), kClosed);
}

TEST_F(MainThreadTest, RunsOnlyWhatWaits) {
  std::future<std::string> second;
  auto first = startThread([&] {
    queue.runAndWait([&] {
      second = startThread([&] { queue.runAndWait([] {}); });
      awaitTasks(2);
    });
  });
  awaitTasks(1);
  EXPECT_EQ(queue.runPending(), 1U);
  EXPECT_EQ(first.get(), "");
  EXPECT_EQ(queue.runPending(), 1U);
  EXPECT_EQ(second.get(), "");
  EXPECT_EQ(queue.runPending(), 0U);
}

// A listener may send, ask for another task, and let the queue run further ones meanwhile.
TEST_F(MainThreadTest, ListenersMayPumpAndSend) {
  RecordingNetwork other;
  const auto pumping = std::make_shared<RecordingListener>();
  other.registerPacketHandleDelegate(pumping);
  std::vector<std::string> order;
  listener->action = [&](auto&& packet) {
    order.emplace_back("inner");
    EXPECT_TRUE(network.sendPacket(*packet));
  };
  pumping->action = [&](auto&&) {
    order.emplace_back("begin");
    auto inner = startThread([&] { network.handleRawPacket(frame); });
    awaitTasks(2);
    EXPECT_EQ(queue.runPending(), 1U);
    EXPECT_EQ(inner.get(), "");
    queue.runAndWait([&] { order.emplace_back("end"); });
  };
  mainThread.pumpWhile([&] { other.handleRawPacket(frame); });
  EXPECT_THAT(order, ElementsAre("begin", "inner", "end"));
  EXPECT_THAT(network.take(), ElementsAre(frame));
}

TEST_F(MainThreadTest, WakesAnotherLoop) {
  std::atomic<int> calls = 0;
  queue.setWakeUp([&] {
    EXPECT_FALSE(queue.isCurrent());
    ++calls;
    queue.setWakeUp([&] {
      ++calls;
      throw 7;
    });
  });
  mainThread.pumpWhile([&] {
    network.handleRawPacket(frame);
    network.handleRawPacket(frame);
  });
  EXPECT_EQ(calls, 2);
  queue.setWakeUp(nullptr);
  mainThread.pumpWhile([&] { network.handleRawPacket(frame); });
  EXPECT_EQ(listener->take().size(), 3U);

  queue.setWakeUp([&] { queue.quit(); });
  EXPECT_EQ(startThread([&] { network.handleRawPacket(frame); }).get(), kClosed);
}

TEST_F(MainThreadTest, RunsOnItsThreadAlone) {
  constexpr const char* kRefused =
      "InternalInconsistencyException: The main thread's queue was run on another thread";
  EXPECT_EQ(startThread([&] { queue.run(); }).get(), kRefused);
  EXPECT_EQ(startThread([&] { queue.runPending(); }).get(), kRefused);
  startThread([&] { queue.bindToCurrentThread(); }).get();
  EXPECT_EQ(thrownBy([&] { queue.runPending(); }), kRefused);
}

// An event loop of the application's own: takes tasks, or never runs any.
struct OwnMainThread : MainThread {
  bool isRunning = true;
  bool isCurrent() const override { return false; }
  void submitAndWait(const std::function<void()>& task) override {
    if (isRunning) task();
  }
};

TEST_F(MainThreadTest, MayBeTheApplicationsOwn) {
  const auto own = std::make_shared<OwnMainThread>();
  MainThread::setInstance(own);
  network.handleRawPacket(frame);
  EXPECT_EQ(listener->take().size(), 1U);
  listener->action = [](auto&&) { throw 7; };
  EXPECT_EQ(thrownBy([&] { network.handleRawPacket(frame); }), "int 7");
  own->isRunning = false;
  EXPECT_EQ(thrownBy([&] { network.handleRawPacket(frame); }), kClosed);
  expectLockIsFree(network);
}

// Everything at once, by the rules: what one listener that stays receives, and what is sent, must
// be whole; what comes and goes must receive nothing twice, and nothing after it went.
TEST_F(MainThreadTest, Stress) {
  constexpr std::int64_t kThreads = 3;
  constexpr std::int64_t kFrames = 2000;
  std::vector<std::int64_t> everyTime(kThreads * kFrames);
  std::iota(everyTime.begin(), everyTime.end(), 0);
  std::atomic<bool> isOver = false;
  const auto onMainThread = [this](auto&&) { EXPECT_TRUE(queue.isCurrent()); };
  listener->action = onMainThread;

  std::vector<std::future<void>> receivers;
  std::vector<std::future<void>> others;
  const auto start = [](auto& threads, auto action) {
    threads.push_back(std::async(std::launch::async, action));
  };
  for (std::int64_t thread = 0; thread < kThreads; ++thread) {
    const std::int64_t first = thread * kFrames;
    start(receivers, [=, this] {
      for (std::int64_t at = 0; at < kFrames; ++at) network.handleRawPacket(frameAt(first + at));
    });
    start(others, [=, this] {
      SystemTimeCommandPacket packet;
      for (std::int64_t at = 0; at < kFrames; ++at) {
        packet.setTimeInMillis(first + at);
        EXPECT_TRUE(network.sendPacket(packet));
      }
    });
  }
  start(others, [&] {
    while (!isOver) {
      const auto visitor = std::make_shared<RecordingListener>();
      visitor->action = onMainThread;
      network.registerPacketHandleDelegate(visitor);
      std::this_thread::yield();
      network.unregisterPacketHandleDelegate(visitor);
      const auto packets = visitor->take();  // without a lock: nobody calls it any more
      EXPECT_EQ(std::set(packets.begin(), packets.end()).size(), packets.size());
      EXPECT_EQ(visitor.use_count(), 1);
      EXPECT_FALSE(network.packetListenerMap().empty());
    }
  });
  start(others, [&] {
    for (int round = 0; !isOver; ++round) {
      network.setDumpPacket(round % 2 == 0, round % 3 == 0);
      HudLog::setSink([line = std::make_shared<std::mutex>()](std::string_view) {
        const std::lock_guard lock(*line);
      });
    }
    network.setDumpPacket(false, false);
    HudLog::setSink({});
  });
  auto quitter = std::async(std::launch::async, [&] {
    for (auto& receiver : receivers) receiver.wait();
    isOver = true;
    queue.quit();
  });
  queue.run();
  for (auto& receiver : receivers) receiver.get();
  for (auto& other : others) other.get();

  std::vector<std::int64_t> received;
  for (const auto& packet : listener->take()) received.push_back(timeOf(packet));
  std::sort(received.begin(), received.end());
  EXPECT_EQ(received, everyTime);

  std::multiset<std::string> expected;
  for (const std::int64_t time : everyTime) expected.insert(hex(frameAt(time)));
  std::multiset<std::string> sent;
  for (const Bytes& each : network.take()) sent.insert(hex(each));
  EXPECT_EQ(sent, expected);
}

}  // namespace
}  // namespace varno::test
