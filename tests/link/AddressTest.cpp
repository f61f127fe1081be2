#include "tests/TestSupport.h"

#include <VarnoLink/VarnoLink.h>

#include <gmock/gmock.h>

#include <string>

namespace varno::test {
namespace {

using testing::HasSubstr;

TEST(Address, IsPrintedAsItWasRead) {
  for (const char* text :
       {"tcp://192.168.43.1:4711", "tcp://hud.local:65535", "tcp://[::1]:1",
        "tcp://[fe80::1%eth0]:4711", "tcp-listen://0.0.0.0:0", "tcp-listen://[::]:4711",
        "unix:///run/display", "unix-listen://here", "unix:///run/what?#is this",
        "serial:///dev/ttyUSB0", "serial:///dev/ttyS0?baud=250000", "pty://"}) {
    EXPECT_EQ(Address::parse(text).text(), text);
  }
  EXPECT_EQ(Address::parse("serial:///dev/ttyUSB0").baud(), 115'200U);
  EXPECT_EQ(Address::parse("tcp://[::1]:0471").port(), 471);
}

TEST(Address, NamesWhatWasExpected) {
  struct Case {
    std::string text;
    const char* reason;
  };
  const std::string longPath(108, 'x');
  const Case cases[] = {
      {"", "expected tcp://HOST:PORT"},
      {"192.168.43.1:4711", "expected tcp://HOST:PORT"},
      {"udp://host:1", "the kind \"udp\" is unknown: expected tcp://HOST:PORT"},
      {"TCP://host:1", "the kind \"TCP\" is unknown"},
      {"tcp://host", "the port is missing: expected tcp://HOST:PORT"},
      {"tcp-listen://host:", "the port is missing: expected tcp-listen://HOST:PORT"},
      {"tcp://:4711", "the host is missing"},
      {"tcp://host:99999", "the port is \"99999\": expected a number from 1 to 65535"},
      {"tcp://host:4294971958", "the port is \"4294971958\""},
      {"tcp://host:0", "the port is 0, which is for listening: expected 1 to 65535"},
      {"tcp-listen://host:-1", "the port is \"-1\": expected a number from 0 to 65535"},
      {"tcp://host:4711/", "the port is \"4711/\""},
      {"tcp://host:4711?nodelay=1", "the option \"nodelay=1\" is unknown: TCP has none"},
      {"tcp://::1:4711", "an IPv6 address stands in brackets: [::1]:4711"},
      {"tcp://[::1:4711", "']' is missing"},
      {"tcp://[host]:4711", "\"host\" is no IPv6 address"},
      {"tcp://[::1]4711", "the port is missing"},
      {"tcp://a b:1", "\"a b\" is no host"},
      {"tcp://a\x1B[2J:1", "\"a?[2J\" is no host"},
      {"unix://", "the path is missing: expected unix://PATH"},
      {"unix-listen://" + longPath, "at most 107 bytes"},
      {"unix://" + std::string("/a\0b", 4), "control character"},
      {"serial://", "the path is missing: expected serial://PATH"},
      {"serial://?baud=9600", "the path is missing"},
      {"serial:///dev/ttyS0?speed=9600", "the option \"speed\" is unknown: expected baud=N"},
      {"serial:///dev/ttyS0?baud", "the baud rate is \"\": expected a number from 1"},
      {"serial:///dev/ttyS0?baud=0", "the baud rate is \"0\""},
      {"serial:///dev/ttyS0?baud=9600&baud=9600", "the option baud is given twice"},
      {"serial:///dev/ttyS0?baud=4294967296", "the baud rate is \"4294967296\""},
      {"pty:///dev/pts/3", "expected pty://"},
  };
  for (const Case& row : cases) {
    EXPECT_THAT(thrownBy([&] { Address::parse(row.text); }), HasSubstr(row.reason)) << row.text;
  }
}

TEST(Address, KnowsWhatTheOtherSideOpens) {
  EXPECT_EQ(Address::parse("tcp-listen://[::1]:7").counterpart().text(), "tcp://[::1]:7");
  EXPECT_EQ(Address::unixListen("a").counterpart(), Address::unixSocket("a"));
  EXPECT_EQ(Address::pty("/dev/pts/3").counterpart(), Address::serial("/dev/pts/3"));
  EXPECT_THAT(thrownBy([] { static_cast<void>(Address::serial("a").counterpart()); }),
              HasSubstr("has no counterpart"));
}

}  // namespace
}  // namespace varno::test
