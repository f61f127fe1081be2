#include <VarnoNetwork/Network/Command/KeepAliveCommandPacket.h>
#include <VarnoNetwork/Network/Command/SystemTimeCommandPacket.h>
#include <VarnoNetwork/Network/EventPacket.h>
#include <VarnoNetwork/Network/PacketRouter.h>
#include <gmock/gmock.h>

#include <string>

#include "TestSupport.h"

namespace varno::test {
namespace {

using ::testing::ElementsAre;

class PacketRouterTest : public ::testing::Test {
 protected:
  using Names = std::vector<std::string>;

  // A handler that notes its name, then does what it is told.
  auto note(std::string name, std::function<void()> action = {}) {
    return [this, name = std::move(name), action = std::move(action)](const HudPacket&) {
      called_.push_back(name);
      if (action) action();
    };
  }

  // The names of the handlers that a packet of the type reaches.
  template <class Packet>
  Names reach() {
    called_.clear();
    router_->onPacketReceived(std::make_shared<Packet>());
    return called_;
  }

  Names called_;
  std::shared_ptr<PacketRouter> router_ = std::make_shared<PacketRouter>();
};

TEST_F(PacketRouterTest, HandsEachPacketToTheHandlersOfItsTypeAndOfItsFamily) {
  auto untaken = router_->onUntaken(note("untaken"));
  auto keepAlive = router_->on<KeepAliveCommandPacket>(note("keepAlive"));
  auto every = router_->onEvery(note("every"));
  EXPECT_THAT(reach<KeepAliveCommandPacket>(), ElementsAre("keepAlive", "every"));
  EXPECT_THAT(reach<SystemTimeCommandPacket>(), ElementsAre("every", "untaken"));

  auto command = router_->on<CommandPacket>(note("command"));
  EXPECT_THAT(reach<KeepAliveCommandPacket>(), ElementsAre("keepAlive", "every", "command"));
  EXPECT_THAT(reach<SystemTimeCommandPacket>(), ElementsAre("every", "command"));
  EXPECT_THAT(reach<EventPacket>(), ElementsAre("every", "untaken"));
}

TEST_F(PacketRouterTest, ASubscriptionEndsWithItsOwner) {
  auto witness = std::make_shared<int>();
  auto first = router_->onEvery(note("first"));
  {
    auto second =
        router_->onEvery([this, witness](const HudPacket&) { called_.push_back("second"); });
    auto moved = std::move(second);
    EXPECT_THAT(reach<EventPacket>(), ElementsAre("first", "second"));
    // Moved from, it ends nothing.
    second.end();  // NOLINT(bugprone-use-after-move,clang-analyzer-cplusplus.Move)
    EXPECT_THAT(reach<EventPacket>(), ElementsAre("first", "second"));
  }
  EXPECT_EQ(witness.use_count(), 1);
  EXPECT_THAT(reach<EventPacket>(), ElementsAre("first"));

  first = router_->onEvery(note("other"));
  auto& same = first;
  first = std::move(same);
  EXPECT_THAT(reach<EventPacket>(), ElementsAre("other"));
}

TEST_F(PacketRouterTest, SubscriptionsComeAndGoInsideHandlersAtAnyDepth) {
  PacketRouter::Subscription later;
  PacketRouter::Subscription victim;
  PacketRouter::Subscription own;
  int depth = 0;
  own = router_->on<KeepAliveCommandPacket>(note("own", [&] {
    if (++depth < 3) router_->onPacketReceived(std::make_shared<KeepAliveCommandPacket>());
    victim.end();
    own.end();
    if (--depth == 0) later = router_->onEvery(note("later"));
  }));
  victim = router_->onEvery(note("victim"));

  EXPECT_THAT(reach<KeepAliveCommandPacket>(), ElementsAre("own", "own", "own"));
  EXPECT_THAT(reach<KeepAliveCommandPacket>(), ElementsAre("later"));
}

TEST_F(PacketRouterTest, AHandlerThatThrowsSkipsTheOthersAndLeavesTheRouterUsable) {
  auto thrower = router_->onEvery(note("thrower", [] { throw 7; }));
  auto after = router_->onEvery(note("after"));
  EXPECT_EQ(thrownBy([this] { reach<EventPacket>(); }), "int 7");
  EXPECT_THAT(called_, ElementsAre("thrower"));
  thrower.end();
  EXPECT_THAT(reach<EventPacket>(), ElementsAre("after"));
}

TEST_F(PacketRouterTest, TheRouterMayGoBeforeItsSubscriptionsAndInsideAHandler) {
  auto subscription = router_->onEvery(note("last", [this] { router_.reset(); }));
  auto* router = router_.get();
  router->onPacketReceived(std::make_shared<EventPacket>());
  EXPECT_THAT(called_, ElementsAre("last"));
  EXPECT_EQ(router_, nullptr);
}

TEST_F(PacketRouterTest, ThePacketOutlivesEachCall) {
  std::shared_ptr<HudPacket> packet = std::make_shared<EventPacket>();
  auto dropping = router_->onEvery([&](const HudPacket&) { packet.reset(); });
  std::string seen;
  auto reading = router_->onUntaken([&](const HudPacket& kept) { seen = kept.typeName(); });
  router_->onPacketReceived(packet);
  EXPECT_EQ(seen, "EventPacket");
}

TEST_F(PacketRouterTest, RefusesHandlersThatCannotBeCalled) {
  const std::function<void()> rows[] = {
      [this] { auto ignored = router_->onEvery(nullptr); },
      [this] { auto ignored = router_->onUntaken({}); },
      [this] {
        auto ignored = router_->on<EventPacket>(std::function<void(const EventPacket&)>());
      },
      [this] {
        auto ignored = router_->on<EventPacket>(static_cast<void (*)(const HudPacket&)>(nullptr));
      },
      [this] {
        std::string_view (HudPacket::*const none)() const = nullptr;
        auto ignored = router_->on<EventPacket>(none);
      }};
  for (const auto& row : rows) {
    EXPECT_EQ(thrownBy(row),
              "InvalidArgumentException: A subscription needs a handler that can be called.");
  }
  EXPECT_THAT(reach<EventPacket>(), testing::IsEmpty());
}

// A delivery holds the network's listener lock, not the router's, so that other threads may
// subscribe meanwhile.
TEST_F(PacketRouterTest, OtherThreadsSubscribeWhilePacketsAreDelivered) {
  MainThreadScope main;
  RecordingNetwork network;
  network.registerPacketHandleDelegate(router_);
  constexpr int kPackets = 200;
  int received = 0;
  auto counter = router_->on<KeepAliveCommandPacket>([&](const auto&) { ++received; });

  auto subscriber = std::async(std::launch::async, [this] {
    for (int round = 0; round < kPackets; ++round) {
      auto passing = router_->onEvery([](const HudPacket&) {});
      auto another = router_->onUntaken([](const HudPacket&) {});
    }
  });
  main.pumpWhile([&] {
    for (int packet = 0; packet < kPackets; ++packet) network.handleRawPacket(kKeepAlive);
  });
  subscriber.get();
  EXPECT_EQ(received, kPackets);
}

}  // namespace
}  // namespace varno::test
