#include "../MainThreadFixture.h"

#include <VarnoLink/FrameInbox.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <optional>

namespace varno::test {
namespace {

using testing::ElementsAre;

// A main thread, a network, and a listener that notes the times that came.
class FrameInboxTest : public testing::Test {
 protected:
  FrameInboxTest() {
    listener->action = [this](const std::shared_ptr<HudPacket>& packet) {
      const auto* time = dynamic_cast<SystemTimeCommandPacket*>(packet.get());
      if (time == nullptr) return;
      came.push_back(time->timeInMillis());
      if (act) act(time->timeInMillis());
    };
    network->registerPacketHandleDelegate(listener);
    scope.queue().setWakeUp([this] { ++wakeUps; });
  }
  ~FrameInboxTest() override { scope.queue().setWakeUp({}); }

  bool feedTimes(FrameInbox& inbox, std::int64_t first, std::int64_t last) {
    bool hasRoom = true;
    for (std::int64_t time = first; time <= last; ++time) hasRoom = inbox.feed(frameAt(time));
    return hasRoom;
  }

  // However many turns it takes: on a busy machine each may have time for one packet.
  void runAll() {
    while (scope.queue().runPending() > 0) {
    }
  }

  MainThreadScope scope;
  std::atomic<int> wakeUps = 0;
  std::vector<std::int64_t> came;
  std::function<void(std::int64_t)> act;
  const std::shared_ptr<RecordingListener> listener = std::make_shared<RecordingListener>();
  std::optional<HudNetwork> network{std::in_place};
};

TEST_F(FrameInboxTest, RefusesLimitsThatNothingPasses) {
  for (const FrameInboxOptions& options :
       {FrameInboxOptions{.maxFrames = 0}, FrameInboxOptions{.maxBytes = 0},
        FrameInboxOptions{.maxFrameBytes = 4}}) {
    EXPECT_THAT(thrownBy([&] { FrameInbox(*network, options); }),
                testing::HasSubstr("nothing would ever be received"));
  }
}

TEST_F(FrameInboxTest, ABurstCostsOneWakeUpAndKeepsItsOrder) {
  FrameInbox inbox(*network);
  Bytes stream = frameAt(1);
  for (const Bytes& more : {bytes("FF 02 7D"), bytes("02 7D 7F 0F 03"), frameAt(2)}) {
    stream.insert(stream.end(), more.begin(), more.end());
  }
  for (const std::uint8_t byte : stream) EXPECT_TRUE(inbox.feed({&byte, 1}));
  inbox.post([this] { came.push_back(-1); });
  inbox.post({});
  inbox.feed(bytes("02 7D"));
  inbox.finish();
  feedTimes(inbox, 3, 3);
  EXPECT_EQ(wakeUps, 1);
  EXPECT_EQ(inbox.counters().waitingFrames, 4U);
  runAll();
  EXPECT_THAT(came, ElementsAre(1, 2, -1, 3));

  const FrameInboxCounters counters = inbox.counters();
  EXPECT_EQ(counters.pieces.frames, 4U);
  EXPECT_EQ(counters.pieces.tornFrames, 2U);
  EXPECT_EQ(counters.pieces.noiseBytes, 1U);
  EXPECT_EQ(counters.refusedFrames, 1U);  // its identifiers end too early
  EXPECT_EQ(counters.waitingFrames + counters.waitingBytes, 0U);
}

TEST_F(FrameInboxTest, ALongQueueLeavesOtherTasksTheirTurn) {
  FrameInbox inbox(*network);
  feedTimes(inbox, 1, 2000);
  std::size_t before = 0;
  scope.queue().post([&] { before = came.size(); });
  runAll();
  EXPECT_LT(before, 2000U);
  ASSERT_EQ(came.size(), 2000U);
  EXPECT_TRUE(std::is_sorted(came.begin(), came.end()));
}

TEST_F(FrameInboxTest, WhatAListenerThrowsLeavesTheLoopAndCostsNoOtherPacket) {
  FrameInbox inbox(*network);
  act = [](std::int64_t time) {
    if (time % 2 == 0) throw static_cast<int>(time);
  };
  feedTimes(inbox, 1, 4);
  inbox.post([] { throw 5; });
  feedTimes(inbox, 6, 7);
  for (const char* const thrown : {"int 2", "int 4", "int 5", "int 6", ""}) {
    EXPECT_EQ(thrownBy([&] { runAll(); }), thrown);
  }
  EXPECT_THAT(came, ElementsAre(1, 2, 3, 4, 6, 7));
}

TEST_F(FrameInboxTest, AFullQueueHoldsUpItsFeeder) {
  int rooms = 0;
  FrameInbox inbox(*network, {.maxFrames = 4, .onRoom = [&] { ++rooms; }});
  EXPECT_TRUE(feedTimes(inbox, 1, 3));
  EXPECT_FALSE(feedTimes(inbox, 4, 6));  // taken nevertheless
  act = [&](std::int64_t time) {
    if (time == 5) throw 7;  // one waits: there is room
  };
  EXPECT_EQ(rooms, 0);
  EXPECT_EQ(thrownBy([&] { runAll(); }), "int 7");
  EXPECT_EQ(rooms, 1);
  std::thread([&] { EXPECT_TRUE(inbox.waitForRoom()); }).join();
  EXPECT_NE(thrownBy([&] { inbox.waitForRoom(); }), "");  // it would wait for itself
  EXPECT_TRUE(feedTimes(inbox, 7, 8));
  runAll();
  EXPECT_EQ(rooms, 1);
  EXPECT_EQ(came.size(), 8U);

  FrameInbox small(*network, {.maxBytes = 10});
  EXPECT_FALSE(feedTimes(small, 1, 1));
}

TEST_F(FrameInboxTest, AFeederWaitsForRoomUntilTheInboxIsClosed) {
  std::optional<FrameInbox> inbox(std::in_place, *network, FrameInboxOptions{.maxFrames = 4});
  std::atomic<std::int64_t> fed = 0;
  std::thread feeder([&] {
    while (feedTimes(*inbox, fed + 1, fed + 1) || inbox->waitForRoom()) ++fed;
  });
  while (came.size() < 1000) scope.queue().runPending();
  inbox->close();
  feeder.join();
  EXPECT_GE(fed, 999);
  inbox.reset();
  const std::size_t count = came.size();
  runAll();
  EXPECT_EQ(came.size(), count);
}

// Nothing of the network or the inbox is touched after the listener that ended it.
TEST_F(FrameInboxTest, EndsInsideAListener) {
  const std::vector<std::function<void(std::optional<FrameInbox>&)>> ends = {
      [](auto& inbox) { inbox->close(); }, [](auto& inbox) { inbox.reset(); },
      [&](auto&) { network.reset(); },
      [&](auto& inbox) {
        network.reset();
        inbox.reset();
      }};
  for (const auto& end : ends) {
    network.emplace();
    const auto second = std::make_shared<RecordingListener>();
    network->registerPacketHandleDelegate(listener);
    network->registerPacketHandleDelegate(second);
    std::optional<FrameInbox> inbox(std::in_place, *network);
    const auto life = std::make_shared<int>();
    feedTimes(*inbox, 1, 2);
    inbox->post([life] {});
    act = [&](std::int64_t) { end(inbox); };
    runAll();
    EXPECT_THAT(std::exchange(came, {}), ElementsAre(1));
    EXPECT_EQ(second->take().size(), 0U);
    inbox.reset();
    EXPECT_EQ(life.use_count(), 1);  // what waited was let go of
  }
}

TEST_F(FrameInboxTest, ClosesOnAnotherThreadWhateverTheMainThreadDoes) {
  std::optional<FrameInbox> inbox(std::in_place, *network);
  feedTimes(*inbox, 1, 2);
  inbox.reset();  // whose turn is still posted
  runAll();
  EXPECT_THAT(came, ElementsAre());

  inbox.emplace(*network);
  feedTimes(*inbox, 1, 2);
  act = [&](std::int64_t) {  // a listener that waits for the one who closes
    std::thread([&] {
      inbox.reset();
      network.reset();
    }).join();
  };
  runAll();
  EXPECT_THAT(came, ElementsAre(1));
}

TEST_F(FrameInboxTest, GoesOnWithAnotherMainThread) {
  FrameInbox inbox(*network);
  feedTimes(inbox, 1, 1);
  scope.queue().quit();
  feedTimes(inbox, 2, 2);
  EXPECT_THAT(came, ElementsAre());
  MainThreadScope another;
  feedTimes(inbox, 3, 3);
  EXPECT_EQ(another.queue().runPending(), 1U);
  EXPECT_THAT(came, ElementsAre(1, 2, 3));
}

}  // namespace
}  // namespace varno::test
