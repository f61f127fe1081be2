#include "LinkSupport.h"

#include <VarnoLink/VarnoLink.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <new>
#include <stdexcept>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace varno::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// Over each kind of link: one side listens, the other comes.
class LinkTest : public testing::TestWithParam<const char*> {
 protected:
  static Address listening() {
    const std::string kind = GetParam();
    if (kind == "Tcp") return Address::parse("tcp-listen://127.0.0.1:0");
    if (kind == "Tcp6") return Address::parse("tcp-listen://[::1]:0");
    return kind == "Unix" ? Address::unixListen(socketPath()) : Address::pty();
  }
  static bool isTerminal() { return GetParam() == std::string("Pty"); }

  // Opens both sides.
  void connect(TestLink& display, std::unique_ptr<TestLink>& phone, LinkOptions options = eager()) {
    phone = std::make_unique<TestLink>(loop_, display.listen(), options);
    phone->link->open();
    EXPECT_TRUE(loop_.runUntil([&] { return display.isUp() && phone->isUp(); }));
  }

  TestLoop loop_;
  TestLink display_{loop_, listening(), eager()};
  std::unique_ptr<TestLink> phone_;
};

INSTANTIATE_TEST_SUITE_P(, LinkTest, testing::Values("Tcp", "Tcp6", "Unix", "Pty"),
                         [](const auto& kind) { return std::string(kind.param); });

TEST_P(LinkTest, CarriesEveryByteBothWays) {
  connect(display_, phone_);
  const Bytes sent = manyBytes(300'000);
  for (std::size_t at = 0; at < 300; ++at) {
    EXPECT_TRUE(phone_->link->send(std::span(sent).subspan(at, 1)));
    EXPECT_TRUE(loop_.runUntil([&] { return display_.received.size() > at; }));
  }
  for (std::size_t at = 300; at < sent.size();) {  // in one write, as far as it fits
    const std::size_t count = std::min<std::size_t>(at % 97 + 1, sent.size() - at);
    while (!phone_->link->send(std::span(sent).subspan(at, count))) {
      EXPECT_TRUE(loop_.runUntil([&] { return phone_->link->queuedSends() == 0; }));
    }
    at += count;
  }
  EXPECT_TRUE(display_.link->send(sent));
  EXPECT_TRUE(loop_.runUntil([&] {
    return display_.received.size() == sent.size() && phone_->received.size() == sent.size();
  }));
  EXPECT_TRUE(display_.received == sent);
  EXPECT_TRUE(phone_->received == sent);
  EXPECT_EQ(display_.writtenSends, 1U);
  EXPECT_EQ(display_.writtenBytes, sent.size());
  EXPECT_EQ(phone_->link->queuedBytes() + phone_->link->queuedSends(), 0U);
}

TEST_P(LinkTest, ComesBeforeTheOtherSideIsThere) {
  if (isTerminal()) GTEST_SKIP() << "its path is known once it is there";
  const Address place = display_.listen();
  display_.link->close();
  EXPECT_EQ(display_.link->status().reason, "closed");
  TestLink phone(loop_, place, eager());
  EXPECT_FALSE(phone.link->send(kKeepAlive));
  phone.link->open();
  EXPECT_TRUE(loop_.runUntil([&] { return phone.told.size() > 6; }));
  const std::string reason =
      GetParam() == std::string("Unix") ? "nobody listens: no such file" : "connection refused";
  EXPECT_EQ(phone.told[1], "connecting");
  EXPECT_EQ(phone.told[2], "down: " + reason);
  EXPECT_EQ(phone.told[3], "connecting");
  TestLink later(loop_,
                 place.kind() == Address::Kind::kUnix
                     ? Address::unixListen(place.path())
                     : Address::tcpListen(place.host(), place.port()),
                 eager());
  later.link->open();
  EXPECT_TRUE(loop_.runUntil([&] { return phone.isUp() && later.isUp(); }));
}

TEST_P(LinkTest, DropsPeerThatDoesNotRead) {
  LinkOptions options = eager();
  options.writeTimeout = std::chrono::milliseconds(50);
  options.maxQueuedBytes = 1'000'000;
  connect(display_, phone_, options);
  display_.link->pauseReading();
  const Bytes frame(30'000, 'a');
  phone_->onWritten = [&] {
    while (phone_->link->send(frame)) EXPECT_LE(phone_->link->queuedBytes(), 1'000'000U);
  };
  phone_->onWritten();
  phone_->onTold = [&] {
    if (!phone_->isDown()) return;
    phone_->onWritten = [] {};
    EXPECT_EQ(phone_->told.back(), "down: the peer does not read: it took nothing for 50ms");
    EXPECT_EQ(phone_->link->queuedBytes(), 0U);
  };
  EXPECT_TRUE(loop_.runUntil([&] { return phone_->isDown(); }));
  // The display reads on, finds the end, and serves the link that came back.
  display_.received.clear();
  display_.link->resumeReading();
  EXPECT_TRUE(loop_.runUntil([&] { return phone_->isUp() && display_.isUp(); }));
}

TEST_P(LinkTest, HoldsUpPeerWhileReadingIsPaused) {
  connect(display_, phone_);
  display_.link->pauseReading();
  const Bytes sent = manyBytes(3'000'000);
  EXPECT_TRUE(phone_->link->send(sent));
  LinkTimer pause(loop_.loop());
  pause.after(std::chrono::milliseconds(20), [&] { loop_.loop().stop(); });
  loop_.loop().run();
  EXPECT_LE(display_.received.size(), 65'536U);  // one read may have been on its way
  // Once in a while, from inside the handler.
  display_.onReceived = [&] {
    display_.link->pauseReading();
    display_.link->resumeReading();
  };
  display_.link->resumeReading();
  EXPECT_TRUE(loop_.runUntil([&] { return display_.received.size() == sent.size(); }));
  EXPECT_TRUE(display_.received == sent);
}

std::size_t entriesOf(const char* directory) {
  const std::filesystem::directory_iterator entries(directory);
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

// In bytes, as far as the system tells.
std::size_t allocatedMemory() {
#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  return ::mallinfo2().uordblks;
#else
  return 0;
#endif
}

TEST_P(LinkTest, ComesBackAThousandTimes) {
  const std::size_t count = isTerminal() ? 50 : 1000;
  std::size_t descriptors = 0;
  std::size_t memory = 0;
  connect(display_, phone_);
  for (std::size_t at = 0; at < count + 10; ++at) {
    if (at == 10) {  // what is kept from then on is kept already
      descriptors = entriesOf("/proc/self/fd");
      memory = allocatedMemory();
    }
    const Bytes tornFrame = {STX, 'a', 'b'};
    phone_->received.clear();
    display_.received.clear();
    EXPECT_TRUE(phone_->link->send(tornFrame));
    EXPECT_TRUE(loop_.runUntil([&] { return display_.received == tornFrame; }));
    phone_->told = display_.told = {""};
    if (at % 3 == 0) {
      phone_->link->close();
      phone_->link->open();
    } else {
      // Over a terminal the phone would not notice it.
      Link& side = *(at % 3 == 1 || isTerminal() ? *phone_ : display_).link;
      side.reset();
      EXPECT_FALSE(side.send(tornFrame));
    }
    const auto isBack = [](const TestLink& link) { return link.told.size() > 2 && link.isUp(); };
    ASSERT_TRUE(loop_.runUntil([&] { return isBack(*phone_) && isBack(display_); }));
  }
  EXPECT_EQ(entriesOf("/proc/self/fd"), descriptors);
  EXPECT_LE(allocatedMemory(), memory + 20'000);
}

// Each event destroys, closes or resets its own link; what would come afterwards must not come.
TEST_P(LinkTest, HandlersMayEndTheLink) {
  using Act = void (*)(TestLink&);
  const Act acts[] = {[](TestLink& side) { side.link.reset(); },
                      [](TestLink& side) { side.link->close(); },
                      [](TestLink& side) { side.link->reset(); }};
  for (const bool isPhone : {true, false}) {
    for (const Act act : acts) {
      for (const std::string event : {"connecting", "up", "down", "bytes", "written"}) {
        SCOPED_TRACE(event);
        TestLink display(loop_, listening(), eager());
        std::unique_ptr<TestLink> phone;
        const Address place = display.listen();
        if (event == "connecting") display.link->close();
        phone = std::make_unique<TestLink>(loop_, place, eager());
        TestLink& side = isPhone ? *phone : display;
        TestLink& other = isPhone ? display : *phone;
        bool hasActed = false;
        const auto actOnce = [&] {
          if (std::exchange(hasActed, true)) return;
          act(side);
          loop_.loop().stop();
        };
        side.onTold = [&] {
          if (side.told.back().starts_with(event)) return actOnce();
          if (!side.isUp()) return;
          if (event == "written") side.link->send(kKeepAlive);
          if (event == "down" && other.isUp()) other.link->close();
        };
        other.onTold = [&] {
          if (!other.isUp()) return;
          if (event == "bytes") other.link->send(kKeepAlive);
          if (event == "down" && side.isUp()) other.link->close();
        };
        if (event == "bytes") side.onReceived = actOnce;
        if (event == "written") side.onWritten = actOnce;
        if (event == "connecting") display.link->open();
        phone->link->open();
        loop_.loop().run();
        EXPECT_TRUE(hasActed);
        other.link.reset();
        LinkTimer pause(loop_.loop());
        pause.after(std::chrono::milliseconds(2), [&] { loop_.loop().stop(); });
        loop_.loop().run();
      }
    }
  }
}

TEST_P(LinkTest, OutlivesWhatHandlersThrow) {
  connect(display_, phone_);
  display_.onReceived = [&] {
    if (display_.received.size() == 1) throw std::runtime_error("from a handler");
    if (display_.received.size() == 3) throw std::bad_alloc();
  };
  EXPECT_TRUE(phone_->link->send(Bytes{1}));
  EXPECT_EQ(thrownBy([&] { loop_.runUntil([] { return false; }); }), "from a handler");
  EXPECT_TRUE(phone_->link->send(Bytes{2}));
  EXPECT_TRUE(loop_.runUntil([&] { return display_.received.size() == 2; }));
  EXPECT_TRUE(phone_->link->send(Bytes{3}));
  EXPECT_TRUE(loop_.runUntil([&] { return display_.isDown(); }));
  EXPECT_EQ(display_.told.back(), "down: out of memory");
  EXPECT_TRUE(loop_.runUntil([&] { return display_.isUp() && phone_->isUp(); }));
}

TEST_P(LinkTest, ServesOnePeerAfterTheOther) {
  if (isTerminal()) GTEST_SKIP() << "whoever opens it shares it";
  connect(display_, phone_);
  TestLink second(loop_, phone_->link->status().address, eager());
  second.link->open();
  EXPECT_TRUE(loop_.runUntil([&] { return second.isUp(); }));
  EXPECT_TRUE(second.link->send(bytes("02 32")));
  EXPECT_TRUE(phone_->link->send(bytes("02 31")));
  EXPECT_TRUE(loop_.runUntil([&] { return display_.received.size() == 2; }));
  phone_->link->close();
  EXPECT_TRUE(loop_.runUntil([&] { return display_.received.size() == 4; }));
  EXPECT_EQ(hex(display_.received), "02 31 02 32");
  EXPECT_THAT(display_.told,
              ElementsAre("", "connecting", "up", "down: the peer hung up", "connecting", "up"));
}

}  // namespace
}  // namespace varno::test
