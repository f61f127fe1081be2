#include "NetworkFixture.h"

#include <gmock/gmock.h>

namespace varno::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct UnwritablePacket : TypedPacket<UnwritablePacket, CommandPacket, 0xF2, 0> {
  static constexpr std::string_view kTypeName = "UnwritablePacket";
  void appendPayload(HudOutputStream&) const override { throw std::runtime_error("unwritable"); }
};

class SendTest : public NetworkFixture {};

TEST_F(SendTest, DumpSwitches) {
  const auto switches = [this] {
    return std::pair(network.dumpSendPacket(), network.dumpReceivePacket());
  };
  EXPECT_EQ(switches(), std::pair(false, false));
  network.setDumpPacket(true, false);
  EXPECT_EQ(switches(), std::pair(true, false));
  network.setDumpPacket(false, true);
  EXPECT_EQ(switches(), std::pair(false, true));
}

TEST_F(SendTest, ReturnsWhatTheTransportDoes) {
  const KeepAliveCommandPacket keepAlive;
  const std::string failed = "sendPacket got exception : ";
  const struct {
    std::function<bool()> transport;
    bool isSent;
    Lines log;
  } rows[] = {
      {[] { return true; }, true, {}},
      {[] { return false; }, false, {}},
      {[]() -> bool { throw HudException("LinkException", "no link\n"); },
       false,
       {failed + "no link\n"}},
      {[]() -> bool { throw std::runtime_error("unplugged"); }, false, {failed + "unplugged"}},
      {[]() -> bool { throw std::bad_alloc(); }, false, {failed + std::bad_alloc().what()}},
      {[]() -> bool { throw 7; }, false, {failed + "unknown exception"}},
  };
  for (const bool isDumped : {false, true}) {
    network.setDumpSendPacket(isDumped);
    for (const auto& row : rows) {
      network.transport = row.transport;
      EXPECT_EQ(network.sendPacket(keepAlive), row.isSent);
      EXPECT_THAT(network.take(), ElementsAre(kKeepAlive));
      Lines expected;
      if (isDumped) {
        expected = {"SendPacket(KeepAliveCommandPacket) Dump start",
                    "0000 02 7D 7F 0F 00 03         .}......",
                    "SendPacket(KeepAliveCommandPacket) Dump end"};
      }
      expected.insert(expected.end(), row.log.begin(), row.log.end());
      EXPECT_EQ(log.take(), expected);
    }
    // What cannot be framed reaches neither the transport nor the dump.
    EXPECT_FALSE(network.sendPacket(CommandPacket()));
    EXPECT_THAT(log.take(), ElementsAre(failed + "Not yet implemented"));
    EXPECT_FALSE(network.sendPacket(UnwritablePacket()));
    EXPECT_THAT(log.take(), ElementsAre(failed + "unwritable"));
    EXPECT_THAT(network.take(), IsEmpty());
  }
  EXPECT_EQ(network.counters().packetsSent, 2U);
  EXPECT_EQ(network.counters().packetsFailed, 2 * (std::size(rows) - 1 + 2));
  EXPECT_FALSE(HudNetwork().sendPacket(keepAlive));
  EXPECT_THAT(log.take(), ElementsAre(failed + "Not yet implemented"));
}

// A transport that uses the borrowed frame, or leaves it to sendPacketImpl.
TEST_F(SendTest, LendsTheFrame) {
  class LendingNetwork : public RecordingNetwork {
   public:
    std::function<std::optional<bool>()> answer;
    Bytes lent;

   private:
    std::optional<bool> sendBorrowedFrame(std::span<const std::uint8_t> frame) override {
      lent.assign(frame.begin(), frame.end());
      return answer();
    }
  };
  const struct {
    std::function<std::optional<bool>()> answer;
    bool isSent;
    bool isHandedOver;
    std::vector<std::string> lines;
  } rows[] = {
      {[] { return true; }, true, false, {}},
      {[] { return false; }, false, false, {}},
      {[] { return std::nullopt; }, true, true, {}},
      {[]() -> std::optional<bool> { throw std::runtime_error("cut"); },
       false,
       false,
       {"sendPacket got exception : cut"}},
  };
  for (const std::size_t length : {0U, 900U, 30'000U}) {
    SystemTimeCommandPacket packet;
    packet.setTimeZoneId(std::string(length, '}'));
    for (const auto& row : rows) {
      SCOPED_TRACE(std::to_string(length) + " bytes, row " + std::to_string(&row - rows));
      LendingNetwork lending;
      lending.answer = row.answer;
      EXPECT_EQ(lending.sendPacket(packet), row.isSent);
      EXPECT_EQ(lending.lent, frameOf(packet));
      EXPECT_EQ(lending.take(), std::vector<Bytes>(row.isHandedOver ? 1 : 0, frameOf(packet)));
      EXPECT_EQ(log.take(), row.lines);
    }
  }
}

}  // namespace
}  // namespace varno::test
