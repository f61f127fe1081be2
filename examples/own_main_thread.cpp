// An application that runs listeners in an event loop of its own, which ends while packets still
// wait for it. Exit status 0 when it got those before.

#include "DemoLog.h"

#include <VarnoLink/VarnoLink.h>
#include <VarnoNetwork/VarnoNetwork.h>

#include <sys/socket.h>

#include <array>
#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace varno::example {
namespace {

// An event loop as in many frameworks: tasks are posted to it.
class ApplicationLoop {
 public:
  using Task = std::function<void()>;

  // On any thread. The task runs later, on the loop's thread; once the loop has ended, tasks are
  // destroyed instead.
  void post(Task task) {
    const std::lock_guard lock(mutex_);
    if (hasEnded_) return;
    tasks_.push_back(std::move(task));
    changed_.notify_one();
  }

  // Until one of the tasks calls quit().
  void run() {
    while (!hasQuit_) next()();
    std::deque<Task> left;
    const std::lock_guard lock(mutex_);
    hasEnded_ = true;
    tasks_.swap(left);  // destroyed, which ends the waits for them
  }

  void quit() { hasQuit_ = true; }

 private:
  Task next() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !tasks_.empty(); });
    Task task = std::move(tasks_.front());
    tasks_.pop_front();
    return task;
  }

  bool hasQuit_ = false;  // the loop's thread alone uses it
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Task> tasks_;
  bool hasEnded_ = false;
};

// Makes the thread that constructs it, which runs the loop, the library's main thread.
class ApplicationThread : public MainThread {
 public:
  explicit ApplicationThread(std::shared_ptr<ApplicationLoop> loop) : loop_(std::move(loop)) {}

  bool isCurrent() const override { return std::this_thread::get_id() == thread_; }
  void post(Task task) override { loop_->post(std::move(task)); }

 private:
  const std::shared_ptr<ApplicationLoop> loop_;  // the library keeps this object, and so the loop
  const std::thread::id thread_ = std::this_thread::get_id();
};

bool run() {
  constexpr int kPackets = 4;
  const auto loop = std::make_shared<ApplicationLoop>();
  MainThread::setInstance(std::make_shared<ApplicationThread>(loop));

  std::array<int, 2> ends{};
  if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) != 0) return false;
  int received = 0;
  const auto router = std::make_shared<PacketRouter>();
  const auto subscription = router->onEvery([&](const HudPacket& packet) {
    HudLog::write(packet.description());
    if (++received == kPackets) loop->quit();
  });
  LinkNetwork phone(ends[0]);
  LinkNetwork display(ends[1], {.onStatus =
                                    [&](const LinkStatus& status) {
                                      if (status.state != LinkState::kUp) return;
                                      for (int packet = 0; packet < 2 * kPackets; ++packet) {
                                        display.sendPacket(UartConnectionEventPacket());
                                      }
                                    },
                                .sends = Direction::kToPhone});
  phone.registerPacketHandleDelegate(router);
  phone.start();
  display.start();
  loop->post([] { HudLog::write("a task of the application's own"); });
  loop->run();
  // The loop has ended, and packets may still wait for it: the links end nevertheless.
  return received >= kPackets;
}

}  // namespace
}  // namespace varno::example

int main() {
  varno::example::logAs("own");
  try {
    return varno::example::run() ? 0 : 1;
  } catch (const std::exception& exception) {
    varno::HudLog::write(std::string("failed: ") + exception.what());
    return 1;
  }
}
