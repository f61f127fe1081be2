#include "MainThreadFixture.h"

#include <VarnoNetwork/Network/WaitCancellation.h>

#include <gmock/gmock.h>

namespace varno::test {
namespace {

using testing::ElementsAre;

class MainThreadWaitTest : public MainThreadFixture {};

constexpr std::string_view kCanceled =
    "WaitCanceledException: The wait for the main thread was canceled";

// An event loop of the application's own: `take` says what it does with a task.
struct OwnMainThread : MainThread {
  std::function<void(Task)> take;
  explicit OwnMainThread(std::function<void(Task)> takes) : take(std::move(takes)) {}
  bool isCurrent() const override { return false; }
  void post(Task task) override { take(std::move(task)); }
};

TEST_F(MainThreadWaitTest, MayBeTheApplicationsOwn) {
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

TEST_F(MainThreadWaitTest, WaitsCanBeCanceled) {
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

// For example when the log's sink hands the line about a slow wait to the main thread.
TEST_F(MainThreadWaitTest, AWaitInsideAWaitLeavesItCancelable) {
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

TEST_F(MainThreadWaitTest, TellsOfASlowWaitOnce) {
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

}  // namespace
}  // namespace varno::test
