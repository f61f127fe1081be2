#include "MainThreadFixture.h"

#include <gmock/gmock.h>

#include <atomic>

namespace varno::test {
namespace {

using testing::ElementsAre;

class MainThreadQueueTest : public MainThreadFixture {};

TEST_F(MainThreadQueueTest, StandardQueueBelongsToTheThreadThatStartedTheProgram) {
  MainThread::setInstance(nullptr);
  EXPECT_EQ(&MainThread::instance(), &MainThreadQueue::standard());
  EXPECT_TRUE(MainThread::instance().isCurrent());
  std::async(std::launch::async, [] { EXPECT_FALSE(MainThread::instance().isCurrent()); }).get();
}

TEST_F(MainThreadQueueTest, ClosedBeforeTheyCome) {
  queue.quit();
  EXPECT_EQ(startFrame(network).get(), kClosed);
  expectLockIsFree(network);
  queue.run();  // returns at once
  EXPECT_EQ(queue.runPending(), 0U);
  network.handleRawPacket(frame);  // the main thread itself needs no queue
  EXPECT_EQ(listener->take().size(), 1U);
  network.unregisterPacketHandleDelegate(listener);
  EXPECT_EQ(startFrame(network).get(), "");
}

TEST_F(MainThreadQueueTest, ClosedWhileTheyWait) {
  RecordingNetwork other;
  other.registerPacketHandleDelegate(listener);
  std::vector<std::future<std::string>> results;
  for (RecordingNetwork* each : {&network, &network, &network, &other}) {
    results.push_back(startFrame(*each));
  }
  queue.awaitPosts(2);  // one of each network; the others wait for the listener lock
  queue.quit();
  for (auto& result : results) EXPECT_EQ(result.get(), kClosed);
  EXPECT_TRUE(listener->take().empty());
  expectLockIsFree(network);
}

TEST_F(MainThreadQueueTest, ClosedByATask) {
  RecordingNetwork other;
  other.registerPacketHandleDelegate(listener);
  listener->action = [&](auto&&) { queue.quit(); };
  auto first = startFrame(network);
  queue.awaitPosts(1);
  auto second = startFrame(other);
  queue.awaitPosts(2);
  EXPECT_EQ(queue.runPending(), 1U);
  EXPECT_EQ(first.get(), "");
  EXPECT_EQ(second.get(), kClosed);
  EXPECT_EQ(listener->take().size(), 1U);
}

TEST_F(MainThreadQueueTest, DestroyedWhileTheyWait) {
  auto passing = std::make_unique<MainThreadQueue>();
  std::promise<void> isWaiting;
  passing->setWakeUp([&] { isWaiting.set_value(); });
  auto result = startThread([&queue = *passing] { queue.runAndWait([] { FAIL(); }); });
  isWaiting.get_future().wait();
  passing.reset();
  EXPECT_EQ(result.get(), kClosed);
}

TEST_F(MainThreadQueueTest, TakesPosts) {
  std::string order;
  const auto append = [&](char letter) { return [&order, letter] { order += letter; }; };
  queue.post(nullptr);
  queue.post([&] {
    order += 'a';
    queue.post(append('d'));
    queue.runAndWait(append('b'));
  });
  queue.post([] { throw 7; });
  queue.post(append('c'));
  EXPECT_EQ(thrownBy([&] { queue.runPending(); }), "int 7");
  EXPECT_EQ(queue.runPending(), 2U);
  EXPECT_EQ(order, "abcd");

  // What the refused task holds uses the queue in its destructor.
  std::shared_ptr<void> held(nullptr, [&](void*) {
    EXPECT_EQ(queue.runPending(), 0U);
    queue.post(append('x'));
    order += 'e';
  });
  queue.post([&] {
    queue.quit();
    order += 'f';
  });
  queue.post([held = std::move(held)] { ADD_FAILURE(); });
  queue.run();
  EXPECT_EQ(order, "abcdef");
}

// Whoever calls runPending() once after each wake-up leaves no task waiting.
TEST_F(MainThreadQueueTest, WakesAnotherLoop) {
  int wakeUps = 0;
  const auto expectAfterWakeUp = [&](std::size_t ran) {
    EXPECT_EQ(std::exchange(wakeUps, 0), 1);
    EXPECT_EQ(queue.runPending(), ran);
  };
  queue.post([] {});
  queue.setWakeUp([&] { ++wakeUps; });  // for the task that already waits
  expectAfterWakeUp(1);
  EXPECT_EQ(wakeUps, 0);
  queue.post([&] { queue.post([] {}); });
  queue.post([] { throw 7; });
  queue.post([] {});
  EXPECT_EQ(thrownBy([&] { expectAfterWakeUp(0); }), "int 7");
  expectAfterWakeUp(2);
  EXPECT_EQ(wakeUps, 0);

  queue.setWakeUp([&] {
    ++wakeUps;
    queue.setWakeUp([&] { queue.quit(); });  // called at once: the task still waits
    throw 7;
  });
  EXPECT_EQ(startFrame(network).get(), kClosed);
  EXPECT_EQ(wakeUps, 1);
}

TEST_F(MainThreadQueueTest, WakesAnotherLoopInARace) {
  constexpr int kThreads = 3;
  std::atomic<bool> isWoken = false;
  std::atomic<int> left = kThreads;
  queue.setWakeUp([&] { isWoken = true; });
  std::vector<std::future<std::string>> results;
  results.reserve(kThreads);
  for (int thread = 0; thread < kThreads; ++thread) {
    results.push_back(startThread([&] {
      for (int round = 0; round < 2000; ++round) queue.runAndWait([] {});
      --left;
    }));
  }
  while (left > 0) {  // endless if a wake-up is lost
    if (isWoken.exchange(false)) queue.runPending();
  }
  for (auto& result : results) EXPECT_EQ(result.get(), "");
}

// A listener may send, ask for another task, and let the queue run further ones meanwhile.
TEST_F(MainThreadQueueTest, ListenersMayPumpAndSend) {
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
    auto inner = startFrame(network);
    queue.awaitPosts(2);
    EXPECT_EQ(queue.runPending(), 1U);
    EXPECT_EQ(inner.get(), "");
    queue.runAndWait([&] { order.emplace_back("end"); });
  };
  mainThread.pumpWhile([&] { other.handleRawPacket(frame); });
  EXPECT_THAT(order, ElementsAre("begin", "inner", "end"));
  EXPECT_THAT(network.take(), ElementsAre(frame));
}

TEST_F(MainThreadQueueTest, RunsOnItsThreadAlone) {
  constexpr const char* kRefused =
      "InternalInconsistencyException: The main thread's queue was run on another thread";
  EXPECT_EQ(startThread([&] { queue.run(); }).get(), kRefused);
  EXPECT_EQ(startThread([&] { queue.runPending(); }).get(), kRefused);
  std::thread::id ended;
  std::thread([&] {
    queue.bindToCurrentThread();
    EXPECT_TRUE(queue.isCurrent());
    ended = std::this_thread::get_id();
  }).join();
  EXPECT_EQ(thrownBy([&] { queue.runPending(); }), kRefused);
  // Nor does it belong to a later thread with the same id.
  bool isGivenAgain = false;
  for (int thread = 0; thread < 1000 && !isGivenAgain; ++thread) {
    std::thread([&] {
      isGivenAgain = std::this_thread::get_id() == ended;
      EXPECT_FALSE(queue.isCurrent());
    }).join();
  }
}

}  // namespace
}  // namespace varno::test
