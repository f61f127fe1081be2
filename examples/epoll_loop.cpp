// A main thread that waits in epoll: for the library's tasks, which an eventfd announces, and for
// other events, here a timer. The phone's link leads back to itself, so it receives what it sends.
// Exit status 0 when it has.

#include "DemoLog.h"
#include "link/DescriptorNetwork.h"
#include "link/FrameReader.h"

#include <VarnoNetwork/VarnoNetwork.h>

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace varno::example {
namespace {

Descriptor owned(int number) {
  if (number < 0) throwErrno("cannot open a descriptor");
  return Descriptor(number);
}

// The application's loop, on the main thread.
class EpollLoop {
 public:
  using Action = std::function<void()>;

  // queue: the main thread's; outlives the loop, which is its only one.
  explicit EpollLoop(MainThreadQueue& queue = MainThreadQueue::standard()) : queue_(queue) {
    add(wakeUp_->number(), [this] {
      clear(wakeUp_->number());  // before runPending(), which may ask for another turn
      queue_.runPending();
    });
    // Shares the descriptor: a thread may still be in here when the loop is destroyed.
    queue_.setWakeUp([wakeUp = wakeUp_] { ::eventfd_write(wakeUp->number(), 1); });
  }

  // Quits the queue as well, so that a receiving thread is free to end.
  ~EpollLoop() {
    queue_.quit();
    queue_.setWakeUp(nullptr);
  }

  EpollLoop(const EpollLoop&) = delete;
  EpollLoop& operator=(const EpollLoop&) = delete;

  // descriptor: not owned; outlives the loop. The action runs whenever it is readable.
  void add(int descriptor, Action action) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    if (::epoll_ctl(epoll_.number(), EPOLL_CTL_ADD, descriptor, &event) != 0) {
      throwErrno("cannot wait for the descriptor");
    }
    actions_[descriptor] = std::move(action);
  }

  // Until an action or a task calls quit().
  void run() {
    while (!hasQuit_) {
      std::array<epoll_event, 8> events{};
      const int count = ::epoll_wait(epoll_.number(), events.data(), events.size(), -1);
      if (count < 0 && errno != EINTR) throwErrno("cannot wait");
      for (int at = 0; at < count; ++at)
        actions_.at(events[static_cast<std::size_t>(at)].data.fd)();
    }
  }

  void quit() { hasQuit_ = true; }

  // Makes an eventfd or a timerfd unreadable until its next event. Returns how many there were.
  static std::uint64_t clear(int descriptor) {
    std::uint64_t count = 0;
    return ::read(descriptor, &count, sizeof count) == sizeof count ? count : 0;
  }

 private:
  MainThreadQueue& queue_;
  const Descriptor epoll_ = owned(::epoll_create1(EPOLL_CLOEXEC));
  const std::shared_ptr<Descriptor> wakeUp_ =
      std::make_shared<Descriptor>(owned(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)));
  std::map<int, Action> actions_;
  bool hasQuit_ = false;
};

Descriptor everyTenMilliseconds() {
  Descriptor timer = owned(::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
  const timespec period{0, 10'000'000};
  const itimerspec setting{period, period};
  if (::timerfd_settime(timer.number(), 0, &setting, nullptr) != 0)
    throwErrno("cannot set a timer");
  return timer;
}

void run() {
  constexpr int kPackets = 5;
  std::array<int, 2> ends{};
  if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) != 0) throwErrno("cannot open a link");
  const Descriptor out(ends[0]);
  const Descriptor in(ends[1]);
  for (const int end : ends) makeNonBlocking(end);
  const Descriptor timer = everyTenMilliseconds();

  DescriptorNetwork network(out.number());
  std::string failure;
  std::function<void()> quit;
  FrameReader reader(network, in.number(), [&](const std::string& reason) {
    failure = reason;
    quit();
  });
  EpollLoop loop;  // declared after the reader: its destructor lets the reader's thread end
  quit = [&] { loop.quit(); };

  int received = 0;
  const auto router = std::make_shared<PacketRouter>();
  const auto subscription =
      router->on<KeepAliveCommandPacket>([&](const KeepAliveCommandPacket& packet) {
        HudLog::write("<- " + packet.description());
        if (++received == kPackets) loop.quit();
      });
  network.registerPacketHandleDelegate(router);
  loop.add(timer.number(), [&] {
    EpollLoop::clear(timer.number());
    HudLog::write("timer");
    if (!network.sendPacket(KeepAliveCommandPacket())) {
      failure = "the link does not take the frame";
      loop.quit();
    }
  });
  reader.start();
  loop.run();
  if (!failure.empty()) throw std::runtime_error(failure);
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
