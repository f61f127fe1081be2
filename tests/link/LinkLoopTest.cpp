#include "LinkSupport.h"

#include <VarnoLink/VarnoLink.h>

#include <fcntl.h>
#include <gmock/gmock.h>

#include <csignal>
#include <fstream>
#include <thread>

namespace varno::test {
namespace {

using testing::ElementsAre;

TEST(LinkLoop, RunsWhatAnyThreadPosts) {
  LinkLoop loop;
  constexpr int kThreads = 4;
  constexpr int kTasks = 1000;
  std::vector<int> next(kThreads);
  int left = kThreads * kTasks;
  bool isInOrder = true;
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (int task = 0; task < kTasks; ++task) {
        loop.post([&, thread, task] {
          isInOrder = isInOrder && next[static_cast<std::size_t>(thread)]++ == task;
          if (--left == 0) loop.stop();
        });
      }
    });
  }
  EXPECT_FALSE(loop.isCurrent());
  loop.post([&] { EXPECT_TRUE(loop.isCurrent()); });
  loop.run();
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(isInOrder);
  EXPECT_EQ(left, 0);
}

TEST(LinkLoop, StopsAtOnceOrTheNextTime) {
  LinkLoop loop;
  std::vector<int> ran;
  loop.stop();
  loop.post([&] { ran.push_back(1); });
  loop.run();
  EXPECT_THAT(ran, ElementsAre());
  loop.post([&] { throw 7; });
  loop.post([&] { ran.push_back(2); });
  EXPECT_EQ(thrownBy([&] { loop.run(); }), "int 7");
  std::thread stopper;
  loop.post([&] { stopper = std::thread([&] { loop.stop(); }); });
  loop.run();
  stopper.join();
  EXPECT_THAT(ran, ElementsAre(1, 2));
}

TEST(LinkLoop, CallsTimersInOrderAndNoneThatWasCanceled) {
  using std::chrono::milliseconds;
  LinkLoop loop;
  std::vector<int> ran;
  LinkTimer canceled(loop);
  LinkTimer later(loop);
  LinkTimer past(loop);
  LinkTimer again(loop);
  auto destroyed = std::make_unique<LinkTimer>(loop);
  later.after(milliseconds(3), [&] {
    ran.push_back(3);
    loop.stop();
  });
  canceled.after(milliseconds(2), [&] { ran.push_back(-1); });
  destroyed->after(milliseconds(2), [&] { ran.push_back(-2); });
  // They are due together, and the first called takes the others back.
  again.after(milliseconds(2), [&] { ran.push_back(-3); });
  again.after(milliseconds(1), [&] {
    std::this_thread::sleep_for(milliseconds(4));
    canceled.cancel();
    destroyed.reset();
    EXPECT_FALSE(again.isSet());
    again.at(loop.clock().now(), [&] { ran.push_back(2); });
    later.after(milliseconds(1), [&] {
      ran.push_back(4);
      loop.stop();
    });
  });
  past.at(LinkTime::min(), [&] { ran.push_back(1); });
  EXPECT_TRUE(past.isSet());
  loop.run();
  EXPECT_THAT(ran, ElementsAre(1, 2, 4));
}

TEST(LinkLoop, TakesSignals) {
  LinkLoop loop;
  std::vector<int> signals;
  {
    const SignalWatch watch(loop, [&](int signal) {
      signals.push_back(signal);
      if (signals.size() == 2) loop.stop();
    });
    loop.post([] { EXPECT_EQ(::raise(SIGINT), 0); });
    loop.post([] { EXPECT_EQ(::raise(SIGTERM), 0); });
    loop.run();
  }
  EXPECT_THAT(signals, testing::UnorderedElementsAre(SIGINT, SIGTERM));
}

// A pipe, and a file, for which the system has no way to wait.
TEST(LinkLoop, WatchesStandardInputWhateverItIs) {
  const std::string path = ::testing::TempDir() + "varno-input";
  std::ofstream(path) << "abc";
  int pipe[2];
  ASSERT_EQ(::pipe(pipe), 0);
  ASSERT_EQ(::write(pipe[1], "abc", 3), 3);
  ::close(pipe[1]);
  for (const int descriptor : {pipe[0], ::open(path.c_str(), O_RDONLY | O_CLOEXEC)}) {
    LinkLoop loop;
    std::string read;
    std::unique_ptr<ReadableWatch> watch;
    watch = std::make_unique<ReadableWatch>(loop, descriptor, [&] {
      char character = 0;
      if (::read(descriptor, &character, 1) == 1) {
        read += character;
      } else {
        watch.reset();
        loop.post([&] { loop.stop(); });
      }
    });
    loop.run();
    EXPECT_EQ(read, "abc");
    EXPECT_EQ(::close(descriptor), 0);
  }
}

}  // namespace
}  // namespace varno::test
