#include "MainThreadFixture.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <numeric>
#include <set>

namespace varno::test {
namespace {

class StressTest : public MainThreadFixture {};

std::int64_t timeOf(const std::shared_ptr<HudPacket>& packet) {
  return std::dynamic_pointer_cast<SystemTimeCommandPacket>(packet)->timeInMillis();
}

// Everything at once, within the rules. A listener that stays must receive every packet, and every
// packet must be sent; listeners that come and go must receive no packet twice, and none after they
// went.
TEST_F(StressTest, EverythingAtOnce) {
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
