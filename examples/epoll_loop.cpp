// A main thread that waits in epoll: for the library's tasks, and for other events, here a timer.
// The phone's link leads back to itself, so it receives what it sends. Exit status 0 when it has.

#include "DemoLog.h"

#include <VarnoLink/VarnoLink.h>
#include <VarnoNetwork/VarnoNetwork.h>

#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace varno::example {
namespace {

int checked(int result) {
  if (result < 0) throw std::system_error(errno, std::generic_category());
  return result;
}

// A descriptor that is readable every ten milliseconds.
int startTimer() {
  const int timer = checked(::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
  const timespec period{0, 10'000'000};
  const itimerspec setting{period, period};
  checked(::timerfd_settime(timer, 0, &setting, nullptr));
  return timer;
}

void run() {
  constexpr int kPackets = 5;
  std::array<int, 2> ends{};
  checked(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()));
  LinkNetwork out(ends[0]);
  LinkNetwork in(ends[1]);
  int received = 0;
  const auto router = std::make_shared<PacketRouter>();
  const auto subscription =
      router->on<KeepAliveCommandPacket>([&](const KeepAliveCommandPacket& packet) {
        HudLog::write("<- " + packet.description());
        ++received;
      });
  in.registerPacketHandleDelegate(router);
  out.start();
  in.start();

  MainThreadDescriptor tasks;
  const int timer = startTimer();
  const int epoll = checked(::epoll_create1(EPOLL_CLOEXEC));
  for (const int descriptor : {tasks.number(), timer}) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    checked(::epoll_ctl(epoll, EPOLL_CTL_ADD, descriptor, &event));
  }
  while (received < kPackets) {
    epoll_event event{};
    const int count = ::epoll_wait(epoll, &event, 1, -1);
    if (count < 0 && errno != EINTR) checked(count);
    if (count <= 0) continue;
    if (event.data.fd == tasks.number()) {
      tasks.dispatch();
      continue;
    }
    std::uint64_t expirations = 0;
    if (::read(timer, &expirations, sizeof expirations) < 0) continue;
    HudLog::write("timer");
    if (out.status().state == LinkState::kUp) out.sendPacket(KeepAliveCommandPacket());
  }
  ::close(epoll);
  ::close(timer);
}

}  // namespace
}  // namespace varno::example

int main() {
  varno::example::logAs("epoll");
  try {
    varno::example::run();
    return 0;
  } catch (const std::exception& exception) {
    varno::HudLog::write(std::string("failed: ") + exception.what());
    return 1;
  }
}
