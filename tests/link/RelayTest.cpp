#include "tests/TestSupport.h"

#include <VarnoLink/LinkTimer.h>
#include <VarnoLink/RecordCutter.h>
#include <VarnoLink/Relay.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>
#include <utility>

namespace varno::test {
namespace {

using namespace std::chrono_literals;

// One end of the line: sends what it is given, as fast as it goes, and keeps what comes.
class Peer {
 public:
  Peer(LinkLoop& loop, const Address& address) : random_(5), link_(loop, address, {}, handlers()) {}

  void open() { link_.open(); }
  void send(Bytes stream) {
    stream_ = std::move(stream);
    sent_ = 0;
    sendMore();
  }
  Link& link() { return link_; }
  const Bytes& received() const { return received_; }
  // Over the connection before this one.
  const Bytes& receivedBefore() const { return receivedBefore_; }
  bool isUp() const { return link_.status().state == LinkState::kUp; }
  std::size_t connections() const { return connections_; }

 private:
  LinkHandlers handlers() {
    LinkHandlers handlers;
    handlers.onStatus = [this](const LinkStatus& status) {
      if (status.state == LinkState::kUp) {
        ++connections_;
        receivedBefore_ = std::exchange(received_, {});
        sendMore();
      }
    };
    handlers.onBytes = [this](std::span<const std::uint8_t> bytes) {
      received_.insert(received_.end(), bytes.begin(), bytes.end());
    };
    handlers.onWritten = [this](std::size_t, std::size_t) { sendMore(); };
    return handlers;
  }

  void sendMore() {
    while (sent_ < stream_.size() && isUp() && link_.queuedBytes() < 300'000) {
      const std::size_t length =
          std::min<std::size_t>(1 + random_() % 50'000, stream_.size() - sent_);
      if (!link_.send(std::span(stream_).subspan(sent_, length))) return;
      sent_ += length;
    }
  }

  std::mt19937 random_;
  Bytes stream_;
  std::size_t sent_ = 0;
  Bytes received_;
  Bytes receivedBefore_;
  std::size_t connections_ = 0;
  Link link_;
};

class RelayTest : public testing::Test {
 protected:
  RelayTest()
      : cutter_([this](const TrafficRecord& record) { records_.push_back(record); }),
        relay_(loop_, Address::tcpListen("127.0.0.1", 0), Address::tcpListen("127.0.0.1", 0),
               {.maxHeldBytes = 1}) {  // which holds up no frame
    relay_.addObserver(cutter_);
    relay_.open();
    runUntil([this] { return addressOf(RelaySide::kPhone) && addressOf(RelaySide::kDisplay); });
    phone_.emplace(loop_, addressOf(RelaySide::kPhone)->counterpart());
    display_.emplace(loop_, addressOf(RelaySide::kDisplay)->counterpart());
  }

  template <class Condition>
  void runUntil(Condition&& holds) {
    LinkTimer timer(loop_);
    const auto deadline = std::chrono::steady_clock::now() + 60s;
    LinkLoop::Task look = [&] {
      if (holds()) return loop_.stop();
      if (std::chrono::steady_clock::now() > deadline) {
        ADD_FAILURE() << "it never came to that";
        return loop_.stop();
      }
      timer.after(1ms, look);
    };
    look();
    loop_.run();
  }

  void connect() {
    phone_->open();
    display_->open();
    runUntil([this] {
      return phone_->isUp() && display_->isUp() && isUp(RelaySide::kPhone) &&
             isUp(RelaySide::kDisplay);
    });
  }

  bool isUp(RelaySide side) const { return relay_.status(side).state == LinkState::kUp; }

  std::optional<Address> addressOf(RelaySide side) const {
    if (relay_.status(side).state == LinkState::kDown) return std::nullopt;
    return relay_.status(side).address;
  }

  void addFault(Direction direction, const char* text) {
    NotationError error;
    relay_.addFault(direction, *faultFromText(text, error));
  }

  Bytes recorded(Direction direction) const {
    Bytes stream;
    for (const TrafficRecord& record : records_) {
      if (record.direction != direction) continue;
      stream.insert(stream.end(), record.bytes.begin(), record.bytes.end());
    }
    return stream;
  }

  std::size_t countOf(RecordKind kind) const {
    return static_cast<std::size_t>(
        std::count_if(records_.begin(), records_.end(),
                      [kind](const auto& record) { return record.kind == kind; }));
  }

  LinkLoop loop_;
  std::vector<TrafficRecord> records_;
  RecordCutter cutter_;
  Relay relay_;
  std::optional<Peer> phone_;
  std::optional<Peer> display_;
};

Bytes randomStream(std::uint32_t seed, std::size_t size) {
  std::mt19937 random(seed);
  Bytes stream;
  while (stream.size() < size) {
    if (random() % 2 == 0) {
      stream.push_back(0x02);
      for (std::size_t left = 3 + random() % 30'000; left > 0; --left) stream.push_back(0x41);
      stream.push_back(0x03);
    } else {
      for (std::size_t left = random() % 1000; left > 0; --left) {
        stream.push_back(static_cast<std::uint8_t>(random()));
      }
    }
  }
  return stream;
}

TEST_F(RelayTest, ForwardsEveryByteBothWaysAndShowsIt) {
  const Bytes toDisplay = randomStream(1, 8'000'000);
  const Bytes toPhone = randomStream(2, 8'000'000);
  phone_->send(toDisplay);
  display_->send(toPhone);
  connect();
  // Faults that come and go, and change no byte.
  addFault(Direction::kToPhone, "latency delay=2ms count=100");
  runUntil([&] { return phone_->received().size() > toPhone.size() / 2; });
  addFault(Direction::kToDisplay, "slicer size=700 count=20");
  runUntil([&] {
    return display_->received().size() == toDisplay.size() &&
           phone_->received().size() == toPhone.size();
  });
  EXPECT_TRUE(display_->received() == toDisplay);
  EXPECT_TRUE(phone_->received() == toPhone);
  cutter_.finish(loop_.clock().now());
  EXPECT_TRUE(recorded(Direction::kToDisplay) == toDisplay);
  EXPECT_TRUE(recorded(Direction::kToPhone) == toPhone);
  EXPECT_EQ(relay_.passedBytes(Direction::kToPhone), toPhone.size());
}

TEST_F(RelayTest, KeepsWhatComesUntilTheOtherSideIsUp) {
  phone_->send(kKeepAlive);
  phone_->open();
  runUntil([this] { return isUp(RelaySide::kPhone) && phone_->link().queuedBytes() == 0; });
  display_->open();
  runUntil([this] { return display_->received() == kKeepAlive; });
}

TEST_F(RelayTest, EndsBothSidesWhenOneEndsAndDeliversWhatCameBefore) {
  connect();
  addFault(Direction::kToDisplay, "latency delay=20ms");
  phone_->send(kKeepAlive);
  runUntil([this] { return phone_->link().queuedBytes() == 0; });
  phone_->link().hangUp();
  runUntil([&] {
    return display_->connections() == 2 && phone_->connections() == 2 &&
           isUp(RelaySide::kDisplay) && isUp(RelaySide::kPhone);
  });
  EXPECT_EQ(display_->receivedBefore(), kKeepAlive);
  EXPECT_EQ(countOf(RecordKind::kLinkDown), 2U);
  EXPECT_EQ(countOf(RecordKind::kLinkUp), 4U);
  display_->send(kKeepAlive);  // and the new session works
  runUntil([this] { return phone_->received() == kKeepAlive; });
}

TEST_F(RelayTest, PutsFaultsInAndMarksThem) {
  connect();
  addFault(Direction::kToDisplay, "corrupt byte=3 bit=0 count=1");
  addFault(Direction::kToDisplay, "drop count=1");
  phone_->send(bytes("02 7D 7F 0F 00 03 02 7D 7F 0F 00 03 02 7D 7F 0F 00 03"));
  runUntil([this] { return display_->received().size() == 12; });
  EXPECT_EQ(records_[2].kind, RecordKind::kFault);
  EXPECT_EQ(records_[2].note, "corrupt byte=3 bit=0, drop, a frame of 6 bytes");
  EXPECT_EQ(records_[3].kind, RecordKind::kFrame);
  addFault(Direction::kToPhone, "limit bytes=4 count=1");
  display_->send(kKeepAlive);
  runUntil([&] {
    return phone_->connections() == 2 && display_->connections() == 2 &&
           isUp(RelaySide::kDisplay) && isUp(RelaySide::kPhone);
  });
  EXPECT_EQ(phone_->receivedBefore(), bytes("02 7D 7F 0F"));
  addFault(Direction::kToDisplay, "reset count=1");
  phone_->send(kKeepAlive);
  runUntil([&] { return phone_->connections() == 3 && display_->connections() == 3; });
}

// Short frames and long, in chunks of any size and with a fault that comes and goes: what is sent
// in between is found whole, and without it the stream is what was sent.
TEST_F(RelayTest, SendsItsOwnBetweenTheFramesOfTheStream) {
  const Bytes own = bytes("02 7D 7E 01 55 03");
  EXPECT_FALSE(relay_.send(Direction::kToDisplay, own));
  connect();
  Bytes stream;
  std::mt19937 random(3);
  while (stream.size() < 4'000'000) {
    const std::size_t length = random() % 2 == 0 ? 3 : 100'000;
    stream.push_back(0x02);
    stream.insert(stream.end(), length, 0x41);
    stream.push_back(0x03);
  }
  phone_->send(stream);
  std::size_t sent = 0;
  runUntil([&] {
    const std::size_t came = display_->received().size();
    if (came < stream.size() && relay_.send(Direction::kToDisplay, own)) {
      ++sent;
      if (sent % 4 == 0) addFault(Direction::kToDisplay, "latency delay=1ms count=2");
    }
    return came == stream.size() + sent * own.size();
  });
  ASSERT_GT(sent, 0U);
  cutter_.finish(loop_.clock().now());
  std::size_t seen = 0;
  Bytes rest;
  for (const TrafficRecord& record : records_) {
    if (record.bytes == own) {
      ++seen;
      EXPECT_TRUE(record.note.starts_with("not from the phone")) << record.note;
    } else {
      rest.insert(rest.end(), record.bytes.begin(), record.bytes.end());
    }
  }
  EXPECT_EQ(seen, sent);
  EXPECT_TRUE(rest == stream);
}

TEST_F(RelayTest, KeepsWhatItSendsForTheEndOfTheFrameThatPasses) {
  connect();
  const Bytes own = bytes("02 7D 7E 01 55 03");
  addFault(Direction::kToPhone, "corrupt byte=4 bit=0 count=1");
  display_->send(bytes("02 7D 7F 0F"));
  runUntil([this] { return display_->link().queuedBytes() == 0; });
  runUntil([looks = 0]() mutable { return ++looks > 20; });  // the relay has it by now
  EXPECT_TRUE(relay_.send(Direction::kToPhone, own));
  EXPECT_TRUE(relay_.send(Direction::kToDisplay, own));  // where no frame is passing
  runUntil([&] { return display_->received() == own; });
  EXPECT_TRUE(phone_->received().empty());
  display_->send(bytes("00 03 02 41"));
  const Bytes expected = bytes("02 7D 7F 0F 01 03 02 7D 7E 01 55 03 02 41");
  runUntil([&] { return phone_->received() == expected; });
}

TEST_F(RelayTest, StaysDownOnTheSideThatItHangsUpOn) {
  connect();
  relay_.hangUp(RelaySide::kPhone);
  runUntil([&] { return display_->connections() == 2 && isUp(RelaySide::kDisplay); });
  EXPECT_EQ(relay_.status(RelaySide::kPhone).state, LinkState::kDown);
  EXPECT_FALSE(relay_.send(Direction::kToPhone, kKeepAlive));
  EXPECT_TRUE(relay_.send(Direction::kToDisplay, kKeepAlive));
  runUntil([this] { return display_->received() == kKeepAlive; });
  EXPECT_EQ(countOf(RecordKind::kLinkDown), 2U);
}

}  // namespace
}  // namespace varno::test
