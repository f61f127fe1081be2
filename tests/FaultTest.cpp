// Memory that runs out at each allocation in turn. The test program's own operator new counts the
// allocations of all threads, and fails those that the current thread is told to.

#include "TestSupport.h"

#include <VarnoNetwork/Network/Command/SystemTimeCommandPacket.h>
#include <VarnoNetwork/Network/HudOutputStream.h>
#include <VarnoNetwork/Network/TextFormat.h>

#include <gmock/gmock.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<long> liveAllocations = 0;
thread_local bool isFailing = false;        // whether allocations are counted down
thread_local long allocationsLeft = 0;      // those before the one that fails
thread_local bool isEveryLaterOne = false;  // whether those after it fail as well
thread_local bool hasFailed = false;

void* allocate(std::size_t size) noexcept {
  if (isFailing && allocationsLeft-- <= 0 && (isEveryLaterOne || !hasFailed)) {
    hasFailed = true;
    return nullptr;
  }
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (memory != nullptr) ++liveAllocations;
  return memory;
}

void* allocateOrThrow(std::size_t size) {
  void* const memory = allocate(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void release(void* memory) noexcept {
  if (memory != nullptr) --liveAllocations;
  std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) { return allocateOrThrow(size); }
void* operator new[](std::size_t size) { return allocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void operator delete(void* memory) noexcept { release(memory); }
void operator delete[](void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { release(memory); }

namespace varno::test {
namespace {

using testing::ElementsAre;

// Which allocation fails, counted from 0, and whether all later ones do.
struct AllocationFault {
  long at;
  bool isLasting;
};

// Runs the operation with the fault; says whether it threw std::bad_alloc. Anything else it throws
// leaves this function.
template <class Operation>
bool failsUnder(const AllocationFault& fault, Operation operation) {
  struct Armed {
    ~Armed() { isFailing = false; }
  } armed;
  allocationsLeft = fault.at;
  isEveryLaterOne = fault.isLasting;
  hasFailed = false;
  isFailing = true;
  try {
    operation();
  } catch (const std::bad_alloc&) {
    return true;
  }
  return false;
}

// Calls `attempt` with a fault at each allocation, until there was none left to fail. Each attempt
// must release all that it allocates.
template <class Attempt>
void failEachAllocation(long atLeast, Attempt attempt) {
  for (const bool isLasting : {false, true}) {
    long at = -1;
    bool wasHit = true;
    while (wasHit) {
      SCOPED_TRACE((isLasting ? "from allocation " : "allocation ") + std::to_string(++at));
      const long before = liveAllocations;
      wasHit = attempt(AllocationFault{at, isLasting});
      EXPECT_EQ(liveAllocations - before, 0);
    }
    EXPECT_GE(at, atLeast);
  }
}

class FaultTest : public testing::Test {
 protected:
  FaultTest() {
    static_cast<void>(RecordingNetwork());  // the library makes some objects once and keeps them
    packet.setTimeZoneId(std::string(600, 'x'));
    frame = frameOf(packet);
  }

  MainThreadScope mainThread;
  LogCapture log;
  SystemTimeCommandPacket packet;
  Bytes frame;
};

TEST_F(FaultTest, Send) {
  const std::string line = std::string("sendPacket got exception : ") + std::bad_alloc().what();
  for (const bool isDumped : {false, true}) {
    failEachAllocation(isDumped ? 100 : 2, [&](const AllocationFault& fault) {
      RecordingNetwork network;
      network.setDumpSendPacket(isDumped);
      bool isSent = false;
      EXPECT_FALSE(failsUnder(fault, [&] { isSent = network.sendPacket(packet); }));
      const bool wasHit = hasFailed;
      EXPECT_EQ(network.take(), std::vector<Bytes>(isSent ? 1 : 0, frame));
      const std::vector<std::string> lines = log.take();
      if (!isDumped) {
        EXPECT_EQ(isSent, !wasHit);
        if (!fault.isLasting) {
          EXPECT_EQ(lines, std::vector<std::string>(wasHit ? 1 : 0, line));
        }
      }
      EXPECT_TRUE(network.sendPacket(packet));
      EXPECT_THAT(network.take(), ElementsAre(frame));
      log.take();
      return wasHit;
    });
  }
}

TEST_F(FaultTest, SendingALentFrameTakesNoMemory) {
  class LendingNetwork : public HudNetwork {
    std::optional<bool> sendBorrowedFrame(std::span<const std::uint8_t>) override { return true; }
  } network;
  bool isSent = false;
  EXPECT_FALSE(failsUnder({0, true}, [&] { isSent = network.sendPacket(packet); }));
  EXPECT_TRUE(isSent);
  EXPECT_FALSE(hasFailed);
}

TEST_F(FaultTest, Receive) {
  for (const bool isDumped : {false, true}) {
    for (const bool isOnMainThread : {true, false}) {
      if (isDumped && !isOnMainThread) continue;
      failEachAllocation(isDumped ? 100 : 2, [&](const AllocationFault& fault) {
        RecordingNetwork network;
        const auto listener = std::make_shared<RecordingListener>();
        network.registerPacketHandleDelegate(listener);
        network.setDumpReceivePacket(isDumped);
        bool hasThrown = false;
        bool wasHit = false;
        const auto receive = [&] {
          hasThrown = failsUnder(fault, [&] { network.handleRawPacket(frame); });
          wasHit = hasFailed;
        };
        isOnMainThread ? receive() : mainThread.pumpWhile(receive);
        EXPECT_EQ(listener->take().size(), hasThrown ? 0U : 1U);
        if (!isDumped) {
          EXPECT_EQ(hasThrown, wasHit);
        }
        expectLockIsFree(network);
        network.handleRawPacket(frame);
        EXPECT_EQ(listener->take().size(), 1U);
        log.take();
        return wasHit;
      });
    }
  }
}

class CountingListener : public PacketHandleDelegate {
 public:
  int calls = 0;
  void onPacketReceived(const std::shared_ptr<HudPacket>& /*packet*/) override { ++calls; }
};

// Each test runs in a process of its own, so nothing has been delivered in it before.
TEST(FirstDeliveryTest, TakesNoMemory) {
  HudNetwork network;
  const auto listener = std::make_shared<CountingListener>();
  const auto packet = std::make_shared<SystemTimeCommandPacket>();
  network.registerPacketHandleDelegate(listener);
  EXPECT_FALSE(failsUnder({0, true}, [&] {
    network.firePacketReceivedEvent(PacketType::of<SystemTimeCommandPacket>(), packet);
  }));
  EXPECT_FALSE(hasFailed);
  EXPECT_EQ(listener->calls, 1);
}

TEST_F(FaultTest, Registration) {
  using Listener = std::shared_ptr<PacketHandleDelegate>;
  const PacketType type = PacketType::of<SystemTimeCommandPacket>();
  HudPacketFilter filter;
  filter.addFilter(type);
  HudNetwork::PacketListenerMap map;
  const std::function<void(HudNetwork&, const Listener&)> changes[] = {
      [](HudNetwork& network, const Listener& listener) {
        network.registerPacketHandleDelegate(listener);
      },
      [&](HudNetwork& network, const Listener& listener) {
        network.registerPacketHandleDelegate(listener, &filter);
      },
      [&](HudNetwork& network, const Listener&) { network.setPacketListenerMap(map); }};
  for (const auto& change : changes) {
    for (const bool isFirst : {true, false}) {
      failEachAllocation(2, [&](const AllocationFault& fault) {
        RecordingNetwork network;
        if (!isFirst) network.registerPacketHandleDelegate(std::make_shared<RecordingListener>());
        const auto before = network.packetListenerMap();
        const auto listener = std::make_shared<RecordingListener>();
        map = {{type, {listener}}};
        const bool hasThrown = failsUnder(fault, [&] { change(network, listener); });
        const bool wasHit = hasFailed;
        EXPECT_EQ(hasThrown, wasHit);
        EXPECT_EQ(network.packetListenerMap() == before, hasThrown);
        expectLockIsFree(network);
        change(network, listener);
        EXPECT_TRUE(network.packetListenerMap().at(type).contains(listener));
        map.clear();
        return wasHit;
      });
    }
  }
}

TEST_F(FaultTest, Construction) {
  failEachAllocation(5, [](const AllocationFault& fault) {
    // No network with missing types is made.
    EXPECT_EQ(failsUnder(fault, [] { RecordingNetwork network; }), hasFailed);
    return hasFailed;
  });
}

TEST_F(FaultTest, TextOfANumber) {
  failEachAllocation(2, [](const AllocationFault& fault) {
    std::string text;
    const bool hasThrown = failsUnder(fault, [&] { text = formatText("time %f", 1e300); });
    EXPECT_EQ(hasThrown, hasFailed);
    EXPECT_EQ(text.size(), hasThrown ? 0U : 313U);
    return hasFailed;
  });
}

}  // namespace
}  // namespace varno::test
