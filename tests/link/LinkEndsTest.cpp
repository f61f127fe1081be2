// What is particular to one kind of link.

#include "LinkSupport.h"

#include <VarnoLink/VarnoLink.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <netdb.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <termios.h>

#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>

namespace {

// A name service that answers when it is told to.
class NameService {
 public:
  int answer() {
    std::unique_lock lock(mutex_);
    ++asked_;
    changed_.notify_all();
    changed_.wait(lock, [&] { return isAnswering_; });
    --asked_;
    changed_.notify_all();
    return EAI_NONAME;
  }
  void awaitAsked(int count) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return asked_ == count; });
  }
  void setAnswering(bool isAnswering) {
    const std::lock_guard lock(mutex_);
    isAnswering_ = isAnswering;
    changed_.notify_all();
  }
  int asked() {
    const std::lock_guard lock(mutex_);
    return asked_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool isAnswering_ = false;
  int asked_ = 0;
};

NameService& nameService() {
  // Never destroyed: a lookup that nobody waits for may still be in it when the program ends.
  static NameService& service = *new NameService;
  return service;
}

}  // namespace

// Stands before the system's own.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): whose names are reserved
extern "C" int getaddrinfo(const char* host, const char* port, const addrinfo* hints,
                           addrinfo** found) {
  const bool isNumeric = (hints->ai_flags & AI_NUMERICHOST) != 0;
  if (!isNumeric && host == std::string_view("slow.test")) return nameService().answer();
  static auto* const system =
      reinterpret_cast<decltype(&::getaddrinfo)>(::dlsym(RTLD_NEXT, "getaddrinfo"));
  return system(host, port, hints, found);
}

namespace varno::test {
namespace {

using testing::StartsWith;

// Lets the loop go on for a moment.
void idle(TestLoop& loop, std::chrono::milliseconds duration = std::chrono::milliseconds(5)) {
  LinkTimer timer(loop.loop());
  timer.after(duration, [&] { loop.loop().stop(); });
  loop.loop().run();
}

TEST(LinkEnds, NameServiceHoldsUpNothing) {
  nameService().setAnswering(false);
  {
    TestLoop loop;
    std::vector<std::unique_ptr<TestLink>> links;
    for (int count = 0; count < 20; ++count) {
      links.push_back(std::make_unique<TestLink>(loop, Address::tcp("slow.test", 4711), eager()));
      links.back()->link->open();
    }
    EXPECT_TRUE(loop.runUntil([&] { return links.back()->told.back() == "connecting"; }));
    nameService().awaitAsked(4);
    idle(loop);
    for (const auto& link : links) {
      link->link->close();
      link->link->open();
    }
    idle(loop);
    EXPECT_EQ(nameService().asked(), 4);
  }  // all of it ends here, while nobody has answered
  nameService().setAnswering(true);
  nameService().awaitAsked(0);

  TestLoop loop;
  TestLink link(loop, Address::tcp("slow.test", 4711), eager());
  TestLink listening(loop, Address::tcpListen("slow.test", 4711), eager());
  TestLink local(loop, Address::tcpListen("localhost", 0), eager());
  TestLink phone(loop, local.listen(), eager());
  link.link->open();
  listening.link->open();
  phone.link->open();
  EXPECT_TRUE(loop.runUntil([&] { return link.isDown() && listening.isDown() && phone.isUp(); }));
  EXPECT_EQ(link.told.back(), "down: name not found: slow.test");
  EXPECT_EQ(listening.told.back(), "down: name not found: slow.test");

  nameService().setAnswering(false);
  LinkOptions options = eager();
  options.connectTimeout = std::chrono::milliseconds(5);
  options.reconnects = false;
  TestLink hasty(loop, Address::tcp("slow.test", 4711), options);
  hasty.link->open();
  EXPECT_TRUE(loop.runUntil([&] { return hasty.isDown(); }));
  EXPECT_EQ(hasty.told.back(), "down: no name service answers for slow.test");
  nameService().setAnswering(true);
}

TEST(LinkEnds, PortThatIsTakenIsNamed) {
  TestLoop loop;
  TestLink first(loop, Address::tcpListen("127.0.0.1", 0), eager());
  const Address place = first.listen();
  LinkOptions once = eager();
  once.reconnects = false;
  TestLink second(loop, Address::tcpListen("127.0.0.1", place.port()), once);
  second.link->open();
  EXPECT_TRUE(loop.runUntil([&] { return second.isDown(); }));
  EXPECT_EQ(second.told.back(), "down: the address is in use");
}

class UnixPathTest : public testing::Test {
 protected:
  UnixPathTest() { std::filesystem::remove(path_); }
  ~UnixPathTest() override { std::filesystem::remove(path_); }

  // What an attempt to listen at the path tells.
  std::string listen() {
    LinkOptions once = eager();
    once.reconnects = false;
    TestLink link(loop_, Address::unixListen(path_), once);
    link.link->open();
    EXPECT_TRUE(loop_.runUntil([&] { return link.told.size() > 1; }));
    return link.told.back();
  }

  // A socket bound to the path, which stays there.
  int bindSocket() const {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path_.copy(address.sun_path, sizeof address.sun_path - 1);
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM, 0);
    EXPECT_EQ(::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    return descriptor;
  }

  const std::string path_ = socketPath("varno-path");
  TestLoop loop_;
};

TEST_F(UnixPathTest, OfALiveListenerIsLeftAlone) {
  TestLink display(loop_, Address::unixListen(path_), eager());
  TestLink phone(loop_, display.listen(), eager());
  EXPECT_EQ(listen(), "down: another program listens at this path");
  idle(loop_);
  EXPECT_EQ(display.told.back(), "connecting");  // it noticed nothing
  phone.link->open();
  EXPECT_TRUE(loop_.runUntil([&] { return phone.isUp() && display.isUp(); }));
  EXPECT_EQ(listen(), "down: another program listens at this path");
  phone.link->reset();
  EXPECT_TRUE(loop_.runUntil([&] { return phone.told.size() > 4 && phone.isUp(); }));
  display.link.reset();
  EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(UnixPathTest, IsTakenOverFromAProgramThatEnded) {
  const int bound = bindSocket();
  EXPECT_EQ(listen(), "down: another program listens at this path");  // it is about to
  ::close(bound);
  EXPECT_TRUE(std::filesystem::exists(path_));
  EXPECT_EQ(listen(), "connecting");
  EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(UnixPathTest, OfAnotherFileIsLeftAlone) {
  std::ofstream(path_) << "precious";
  EXPECT_EQ(listen(), "down: the path is taken by a file that is no socket");
  EXPECT_EQ(std::filesystem::file_size(path_), 8U);
  std::filesystem::remove(path_);
  TestLink display(loop_, Address::unixListen(path_), eager());
  display.listen();
  std::filesystem::remove(path_);
  ::close(bindSocket());  // somebody else's by now
  display.link->close();
  EXPECT_TRUE(std::filesystem::exists(path_));
}

TEST_F(UnixPathTest, InNoDirectoryIsNamed) {
  TestLink link(loop_, Address::unixListen("/nowhere/at/all"), eager());
  link.link->open();
  EXPECT_TRUE(loop_.runUntil([&] { return link.isDown(); }));
  EXPECT_EQ(link.told.back(), "down: no such directory");
}

TEST(LinkEnds, SerialDeviceIsRawAndForOneProgram) {
  TestLoop loop;
  TestLink display(loop, Address::pty(), eager());
  const std::string path = display.listen().path();
  const int before = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  TestLink phone(loop, Address::serial(path, 250'000), eager());
  phone.link->open();
  EXPECT_TRUE(loop.runUntil([&] { return phone.isUp(); }));
  termios settings{};
  EXPECT_EQ(::tcgetattr(before, &settings), 0);
  EXPECT_EQ(settings.c_cflag & (HUPCL | CREAD | CLOCAL), static_cast<tcflag_t>(CREAD | CLOCAL));
  EXPECT_EQ(settings.c_lflag & (ECHO | ICANON | ISIG), 0U);
  EXPECT_EQ(settings.c_iflag & (IXON | ICRNL | ISTRIP), 0U);
  EXPECT_EQ(settings.c_oflag & OPOST, 0U);
  ::close(before);

  LinkOptions once = eager();
  once.reconnects = false;
  const std::pair<Address, const char*> refused[] = {
      {Address::serial(path), "down: another program holds the device: "},
      {Address::serial("/dev/null"), "down: the file is no serial device"},
      {Address::serial("/dev/ttyNowhere"), "down: no such file"},
  };
  for (const auto& [address, reason] : refused) {
    TestLink link(loop, address, once);
    link.link->open();
    EXPECT_TRUE(loop.runUntil([&] { return link.isDown(); }));
    EXPECT_THAT(link.told.back(), StartsWith(reason));
  }
  EXPECT_TRUE(phone.isUp());
}

TEST(LinkEnds, TerminalStaysWhileItsPeersComeAndGo) {
  TestLoop loop;
  TestLink display(loop, Address::pty(), eager());
  const Address place = display.listen();
  for (const Bytes& frame : {bytes("02 31"), bytes("02 32")}) {
    // What one that only looks in leaves behind is read, too.
    const int peer = ::open(place.path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    EXPECT_EQ(::write(peer, frame.data(), frame.size()), 2);
    ::close(peer);
    display.received.clear();
    EXPECT_TRUE(loop.runUntil([&] { return display.received.size() == 2; }));
    EXPECT_TRUE(loop.runUntil([&] { return display.told.back() == "connecting"; }));
    EXPECT_EQ(display.link->status().address, Address::pty(place.path()));
    EXPECT_EQ(display.received, frame);
  }
  TestLink phone(loop, place, eager());
  phone.link->open();
  EXPECT_TRUE(loop.runUntil([&] { return display.isUp(); }));
  EXPECT_TRUE(display.link->send(kKeepAlive));
  EXPECT_TRUE(loop.runUntil([&] { return phone.received == kKeepAlive; }));
}

TEST(LinkEnds, DescriptorIsCarriedOnce) {
  TestLoop loop;
  int pair[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
  TestLink near(loop, pair[0]);
  auto far = std::make_unique<TestLink>(loop, pair[1]);
  near.link->open();
  far->link->open();
  EXPECT_TRUE(loop.runUntil([&] { return near.isUp() && far->isUp(); }));
  EXPECT_TRUE(near.link->send(kKeepAlive));
  EXPECT_TRUE(loop.runUntil([&] { return far->received == kKeepAlive; }));
  EXPECT_TRUE(near.link->send(kKeepAlive));  // into a socket that is closed by then
  far.reset();
  EXPECT_TRUE(loop.runUntil([&] { return near.isDown(); }));
  EXPECT_EQ(near.told.back(), "down: the peer hung up");
  near.link->open();
  EXPECT_TRUE(loop.runUntil([&] { return near.told.size() > 4; }));
  EXPECT_EQ(near.told.back(), "down: the descriptor has ended");
}

// Also where the system tells it to a write, which it does only once.
TEST(LinkEnds, AResetIsToldAsOne) {
  for (const std::size_t size : {10U, 100'000U}) {
    TestLoop loop;
    TestLink display(loop, Address::tcpListen("127.0.0.1", 0), eager());
    TestLink phone(loop, display.listen(), eager());
    phone.link->open();
    EXPECT_TRUE(loop.runUntil([&] { return phone.isUp() && display.isUp(); }));
    display.link->pauseReading();
    phone.link->reset();
    idle(loop);
    EXPECT_TRUE(display.link->send(manyBytes(size)));
    idle(loop);
    EXPECT_FALSE(display.link->send(manyBytes(size)));
    display.link->resumeReading();
    EXPECT_TRUE(loop.runUntil([&] { return display.isDown(); }));
    EXPECT_EQ(display.told.back(), "down: the peer reset the connection");
  }
}

// What the peer sent before it went is not lost to a write that fails first.
TEST(LinkEnds, LastWordsAreHeard) {
  TestLoop loop;
  int pair[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
  TestLink near(loop, pair[0]);
  near.onTold = [&] {
    if (!near.isUp()) return;
    const Bytes words = manyBytes(100'000);
    EXPECT_EQ(::send(pair[1], words.data(), words.size(), 0), 100'000);
    ::close(pair[1]);
    near.link->send(kKeepAlive);
  };
  near.link->pauseReading();
  near.link->open();
  idle(loop);
  near.link->resumeReading();
  EXPECT_TRUE(loop.runUntil([&] { return near.isDown(); }));
  EXPECT_TRUE(near.received == manyBytes(100'000));
}

}  // namespace
}  // namespace varno::test
