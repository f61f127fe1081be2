#include <VarnoNetwork/Network/MainThread.h>
#include <bench/Case.h>
#include <bench/ReferenceNetwork.h>
#include <bench/SamplePackets.h>
#include <bench/Transport.h>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace varno::bench {
namespace {

// A thread that runs the library's queue as the main thread.
class QueueThread {
 public:
  QueueThread() {
    thread_ = std::thread([this] {
      queue_->bindToCurrentThread();
      queue_->run();
    });
  }
  ~QueueThread() {
    queue_->quit();
    thread_.join();
  }
  QueueThread(const QueueThread&) = delete;
  QueueThread& operator=(const QueueThread&) = delete;

  const std::shared_ptr<MainThreadQueue>& queue() const { return queue_; }

 private:
  const std::shared_ptr<MainThreadQueue> queue_ = std::make_shared<MainThreadQueue>();
  std::thread thread_;
};

// The simplest hand-over: a slot for one call, a lock and two condition variables.
class Mailbox {
 public:
  Mailbox() : thread_([this] { run(); }) {}
  ~Mailbox() {
    {
      const std::lock_guard lock(mutex_);
      isClosed_ = true;
    }
    filled_.notify_one();
    thread_.join();
  }
  Mailbox(const Mailbox&) = delete;
  Mailbox& operator=(const Mailbox&) = delete;

  void callAndWait(PacketHandleDelegate& listener, const std::shared_ptr<HudPacket>& packet) {
    std::unique_lock lock(mutex_);
    listener_ = &listener;
    packet_ = &packet;
    filled_.notify_one();
    emptied_.wait(lock, [this] { return listener_ == nullptr; });
  }

 private:
  void run() {
    std::unique_lock lock(mutex_);
    for (;;) {
      filled_.wait(lock, [this] { return isClosed_ || listener_ != nullptr; });
      if (isClosed_) return;
      listener_->onPacketReceived(*packet_);
      listener_ = nullptr;
      emptied_.notify_one();
    }
  }

  std::mutex mutex_;
  std::condition_variable filled_;
  std::condition_variable emptied_;
  PacketHandleDelegate* listener_ = nullptr;
  const std::shared_ptr<HudPacket>* packet_ = nullptr;
  bool isClosed_ = false;
  std::thread thread_;
};

}  // namespace

std::vector<Case> handOverCases() {
  const auto network = std::make_shared<Transport>();
  network->registerPacketHandleDelegate(makeListeners(1).front());
  const auto mainThread = std::make_shared<QueueThread>();
  const auto receive = [network, frame = frameOf(*smallPacket())] {
    network->handleRawPacket(frame);
  };
  const Loop library = [mainThread, receive = repeat(receive)](std::size_t times) {
    MainThread::setInstance(mainThread->queue());
    receive(times);
    MainThread::setInstance(nullptr);
  };

  const auto mailbox = std::make_shared<Mailbox>();
  const auto lock = std::make_shared<std::recursive_mutex>();
  const Loop floor = repeat([mailbox, lock, listener = makeListeners(1).front()] {
    const std::shared_ptr<HudPacket> packet = smallPacket();
    const std::lock_guard guard(*lock);
    mailbox->callAndWait(*listener, packet);
  });
  return {
      {.name = "receive small, handed over", .library = library, .floor = floor, .waits = true}};
}

}  // namespace varno::bench
