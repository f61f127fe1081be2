#include <VarnoLink/MainThreadDescriptor.h>
#include <VarnoLink/Private/Poll.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <map>
#include <mutex>
#include <system_error>

namespace varno {

// A pipe to oneself, by which any thread ends the main thread's poll().
class MainThreadDescriptor::WakePipe {
 public:
  WakePipe() {
    if (::pipe(ends_.data()) != 0) {
      throw std::system_error(errno, std::generic_category(), "cannot open a pipe");
    }
    for (const int end : ends_) {
      ::fcntl(end, F_SETFL, O_NONBLOCK);
      ::fcntl(end, F_SETFD, FD_CLOEXEC);
    }
  }

  ~WakePipe() {
    for (const int end : ends_) ::close(end);
  }

  WakePipe(const WakePipe&) = delete;
  WakePipe& operator=(const WakePipe&) = delete;

  int number() const noexcept { return ends_[0]; }

  void wake() const noexcept {
    const int error = errno;
    const char byte = 0;
    // A full pipe is readable already, which is all that is wanted.
    while (::write(ends_[1], &byte, 1) < 0 && errno == EINTR) {
    }
    errno = error;
  }

  void drain() const noexcept {
    std::array<char, 64> bytes;
    for (;;) {
      const ssize_t count = ::read(ends_[0], bytes.data(), bytes.size());
      if (count <= 0 && errno != EINTR) return;
    }
  }

 private:
  std::array<int, 2> ends_{};  // to read, to write
};

// A queue's wake-up, while there are descriptors for it.
class MainThreadDescriptor::WakeUp {
 public:
  explicit WakeUp(MainThreadQueue& queue) : queue_(queue), pipe_(std::make_shared<WakePipe>()) {
    // Shares the pipe: a thread may still be in here when this object is destroyed.
    queue_.setWakeUp([pipe = pipe_] { pipe->wake(); });
  }
  ~WakeUp() { queue_.setWakeUp(nullptr); }
  WakeUp(const WakeUp&) = delete;
  WakeUp& operator=(const WakeUp&) = delete;

  const WakePipe& pipe() const noexcept { return *pipe_; }

 private:
  MainThreadQueue& queue_;
  const std::shared_ptr<WakePipe> pipe_;
};

std::shared_ptr<MainThreadDescriptor::WakeUp> MainThreadDescriptor::wakeUpOf(
    MainThreadQueue& queue) {
  static std::mutex mutex;  // there may be several main threads, one after the other
  static std::map<const MainThreadQueue*, std::weak_ptr<WakeUp>> present;
  const std::lock_guard lock(mutex);
  std::erase_if(present, [](const auto& entry) { return entry.second.expired(); });
  std::weak_ptr<WakeUp>& known = present[&queue];
  std::shared_ptr<WakeUp> wakeUp = known.lock();
  if (wakeUp == nullptr) known = wakeUp = std::make_shared<WakeUp>(queue);
  return wakeUp;
}

MainThreadDescriptor::MainThreadDescriptor(MainThreadQueue& queue)
    : queue_(queue), wakeUp_(wakeUpOf(queue)) {}

MainThreadDescriptor::~MainThreadDescriptor() = default;

int MainThreadDescriptor::number() const noexcept { return wakeUp_->pipe().number(); }

std::size_t MainThreadDescriptor::dispatch() {
  wakeUp_->pipe().drain();  // first: tasks that come from now on may wake again
  return queue_.runPending();
}

bool MainThreadDescriptor::runUntil(std::chrono::steady_clock::time_point deadline,
                                    const std::function<bool()>& isDone) {
  for (;;) {
    if (isDone()) return true;
    pollfd polled{number(), POLLIN, 0};
    if (!pollUntil({&polled, 1}, deadline)) return isDone();
    dispatch();
  }
}

}  // namespace varno
