#include "TestSupport.h"

#include <VarnoNetwork/Network/Command/SystemTimeCommandPacket.h>
#include <VarnoNetwork/Network/HudOutputStream.h>
#include <VarnoNetwork/Network/WaitCancellation.h>

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

constexpr std::string_view kCanceled =
    "WaitCanceledException: The wait for the main thread was canceled";

class MainThreadTest : public testing::Test {
 protected:
  MainThreadTest() { network.registerPacketHandleDelegate(listener); }

  std::future<std::string> startFrame(HudNetwork& receiver) {
    return startThread([&receiver, this] { receiver.handleRawPacket(frame); });
  }

  MainThreadScope mainThread;
  CountingQueue& queue = mainThread.queue();
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
  EXPECT_EQ(startFrame(network).get(), kClosed);
  expectLockIsFree(network);
  queue.run();  // returns at once
  EXPECT_EQ(queue.runPending(), 0U);
  network.handleRawPacket(frame);  // the main thread itself needs no queue
  EXPECT_EQ(listener->take().size(), 1U);
  network.unregisterPacketHandleDelegate(listener);
  EXPECT_EQ(startFrame(network).get(), "");
}

TEST_F(MainThreadTest, ClosedWhileTheyWait) {
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

TEST_F(MainThreadTest, ClosedByATask) {
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

TEST_F(MainThreadTest, DestroyedWhileTheyWait) {
  auto passing = std::make_unique<MainThreadQueue>();
  std::promise<void> isWaiting;
  passing->setWakeUp([&] { isWaiting.set_value(); });
  auto result = startThread([&queue = *passing] { queue.runAndWait([] { FAIL(); }); });
  isWaiting.get_future().wait();
  passing.reset();
  EXPECT_EQ(result.get(), kClosed);
}

TEST_F(MainThreadTest, TakesPosts) {
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

  // What the refused task holds uses the queue as it is destroyed.
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
TEST_F(MainThreadTest, WakesAnotherLoop) {
  int wakeUps = 0;
  const auto expectAfterWakeUp = [&](std::size_t ran) {
    EXPECT_EQ(std::exchange(wakeUps, 0), 1);
    EXPECT_EQ(queue.runPending(), ran);
  };
  queue.post([] {});
  queue.setWakeUp([&] { ++wakeUps; });  // for the one that waits
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
    queue.setWakeUp([&] { queue.quit(); });  // for the task that is just told of, too
    throw 7;
  });
  EXPECT_EQ(startFrame(network).get(), kClosed);
  EXPECT_EQ(wakeUps, 1);
}

TEST_F(MainThreadTest, WakesAnotherLoopInARace) {
  constexpr int kThreads = 3;
  std::atomic<bool> isWoken = false;
  std::atomic<int> left = kThreads;
  queue.setWakeUp([&] { isWoken = true; });
  std::vector<std::future<std::string>> results;
  for (int thread = 0; thread < kThreads; ++thread) {
    results.push_back(startThread([&] {
      for (int round = 0; round < 2000; ++round) queue.runAndWait([] {});
      --left;
    }));
  }
  while (left > 0) {  // for ever, where a wake-up is lost
    if (isWoken.exchange(false)) queue.runPending();
  }
  for (auto& result : results) EXPECT_EQ(result.get(), "");
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

TEST_F(MainThreadTest, RunsOnItsThreadAlone) {
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
  // Nor does it belong to a later thread that is given the ended one's id.
  bool isGivenAgain = false;
  for (int thread = 0; thread < 1000 && !isGivenAgain; ++thread) {
    std::thread([&] {
      isGivenAgain = std::this_thread::get_id() == ended;
      EXPECT_FALSE(queue.isCurrent());
    }).join();
  }
}

// An event loop of the application's own, which does with a task what it is told to.
struct OwnMainThread : MainThread {
  std::function<void(Task)> take;
  explicit OwnMainThread(std::function<void(Task)> takes) : take(std::move(takes)) {}
  bool isCurrent() const override { return false; }
  void post(Task task) override { take(std::move(task)); }
};

TEST_F(MainThreadTest, MayBeTheApplicationsOwn) {
  using Task = MainThread::Task;
  Task late;
  const struct {
    const char* what;
    std::function<void(Task)> take;
    std::string_view thrown;
    std::size_t received;
  } kCases[] = {{"runs it", [](const Task& task) { task(); }, "int 7", 1},
                {"refuses it", [](const Task&) {}, kClosed, 0},
                {"runs each copy",
                 [](const Task& task) {
                   for (const Task& copy : {task, task}) copy();
                 },
                 "int 7", 1},
                {"destroys a copy",
                 [](const Task& task) {
                   { const Task copy = task; }
                   task();
                 },
                 "int 7", 1},
                {"throws", [](const Task&) { throw 8; }, "int 8", 0},
                {"keeps it and throws",
                 [&](Task task) {
                   late = std::move(task);
                   throw 8;
                 },
                 "int 8", 0},
                {"runs it and throws",
                 [](const Task& task) {
                   task();
                   throw 8;
                 },
                 "int 7", 1}};
  listener->action = [](auto&&) { throw 7; };
  for (const auto& each : kCases) {
    SCOPED_TRACE(each.what);
    MainThread::setInstance(std::make_shared<OwnMainThread>(each.take));
    EXPECT_EQ(thrownBy([&] { network.handleRawPacket(frame); }), each.thrown);
    if (late) late();
    EXPECT_EQ(listener->take().size(), each.received);
    expectLockIsFree(network);
  }
}

TEST_F(MainThreadTest, WaitsCanBeCanceled) {
  const auto fail = [] { ADD_FAILURE(); };
  WaitCancellation cancellation;
  std::string order;
  auto running = startThread([&] {
    const WaitCancellation::Scope scope(cancellation);
    queue.runAndWait([&] {
      cancellation.cancel();
      order += "to its end, ";
    });
    order += "then no more";
    queue.runAndWait(fail);
  });
  queue.awaitPosts(1);
  EXPECT_EQ(queue.runPending(), 1U);
  EXPECT_EQ(running.get(), kCanceled);
  EXPECT_EQ(order, "to its end, then no more");

  WaitCancellation outer;
  auto queued = startThread([&] {
    const WaitCancellation::Scope scope(outer);
    const WaitCancellation::Scope inner((WaitCancellation()));
    network.handleRawPacket(frame);
  });
  auto bystander = startThread([&] {
    { const WaitCancellation::Scope ended(outer); }
    queue.runAndWait([] {});
  });
  queue.awaitPosts(3);
  outer.cancel();
  EXPECT_EQ(queued.get(), kCanceled);
  expectLockIsFree(network);
  EXPECT_EQ(queue.runPending(), 2U);  // the canceled one does nothing
  EXPECT_EQ(bystander.get(), "");
  EXPECT_TRUE(listener->take().empty());
}

// As it does where the log line about a slow wait goes by the main thread.
TEST_F(MainThreadTest, AWaitInsideAWaitLeavesItCancelable) {
  const LogCapture log;
  OwnMainThread running([](const MainThread::Task& task) { task(); });
  MainThread::setSlowWaitLimit(std::chrono::milliseconds(1));
  for (const bool isLate : {false, true}) {
    WaitCancellation cancellation;
    const WaitCancellation::Scope scope(cancellation);
    const auto cancel = [&](bool isNow) {
      if (isNow) cancellation.cancel();
    };
    MainThread::Task kept;
    OwnMainThread idle([&kept](MainThread::Task task) { kept = std::move(task); });
    const auto describe = [&] {
      running.runAndWait([&] { cancel(!isLate); });
      cancel(isLate);
      return std::string();
    };
    EXPECT_EQ(thrownBy([&] { idle.runAndWait([] { ADD_FAILURE(); }, describe); }), kCanceled);
  }
  MainThread::setSlowWaitLimit(std::chrono::milliseconds(5000));
}

TEST_F(MainThreadTest, TellsOfASlowWaitOnce) {
  using std::chrono::milliseconds;
  LogCapture log;
  const auto awaitLine = [&log] {
    std::vector<std::string> lines;
    while ((lines = log.take()).empty()) std::this_thread::yield();
    return lines;
  };
  MainThread::setSlowWaitLimit(milliseconds(2));
  auto waiting = startFrame(network);
  EXPECT_THAT(awaitLine(), ElementsAre("waiting for the main thread : 2 ms, "
                                       "SystemTimeCommandPacket for 1 listener (not begun)"));
  std::this_thread::sleep_for(milliseconds(10));
  EXPECT_EQ(queue.runPending(), 1U);
  EXPECT_EQ(waiting.get(), "");
  EXPECT_THAT(log.take(), ElementsAre());

  std::future<void> loop;
  OwnMainThread own([&](const MainThread::Task& task) {
    std::promise<void> hasBegun;
    auto begun = hasBegun.get_future();
    loop = std::async(std::launch::async, [task, &hasBegun] {
      hasBegun.set_value();
      task();
    });
    begun.wait();
  });
  own.runAndWait(
      [&] {
        EXPECT_THAT(awaitLine(),
                    ElementsAre("waiting for the main thread : 2 ms, a task (running)"));
      },
      []() -> std::string { throw 7; });
  loop.get();

  MainThread::setSlowWaitLimit(milliseconds(-1));
  auto silent = startFrame(network);
  queue.awaitPosts(2);
  std::this_thread::sleep_for(milliseconds(10));
  EXPECT_EQ(queue.runPending(), 1U);
  EXPECT_EQ(silent.get(), "");
  EXPECT_THAT(log.take(), ElementsAre());
  MainThread::setSlowWaitLimit(milliseconds(5000));
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
