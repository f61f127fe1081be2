#pragma once

#include <VarnoNetwork/Network/HudInputStream.h>
#include <VarnoNetwork/Network/HudLog.h>
#include <VarnoNetwork/Network/HudNetwork.h>
#include <VarnoNetwork/Network/HudOutputStream.h>
#include <VarnoNetwork/Network/MainThread.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace varno::test {

using Bytes = std::vector<std::uint8_t>;

inline const Bytes kKeepAlive = {0x02, 0x7D, 0x7F, 0x0F, 0x00, 0x03};

// The bytes that "02 7D 7F" names.
inline Bytes bytes(std::string_view hex) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  Bytes result;
  bool isSecondDigit = false;
  for (const char character : hex) {
    if (character == ' ') continue;
    const std::size_t digit = kDigits.find(character);
    if (digit == std::string_view::npos) throw std::invalid_argument(std::string(hex));
    if (!isSecondDigit) result.push_back(0);
    result.back() = static_cast<std::uint8_t>(std::size_t{result.back()} * 16 + digit);
    isSecondDigit = !isSecondDigit;
  }
  if (isSecondDigit) throw std::invalid_argument(std::string(hex));
  return result;
}

// The bytes as "02 7D 7F".
inline std::string hex(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string result;
  for (const std::uint8_t byte : bytes) {
    if (!result.empty()) result += ' ';
    result += {kDigits[byte >> 4], kDigits[byte & 0x0F]};
  }
  return result;
}

inline Bytes payloadOf(const HudPacket& packet) {
  HudOutputStream stream;
  packet.appendPayload(stream);
  return stream.toNSData();
}

inline bool parse(HudPacket& packet, std::span<const std::uint8_t> payload) {
  HudInputStream stream(payload);
  return packet.parsePayload(stream);
}

// What the action throws: "" for nothing, "name: reason" for a HudException, what() of any other
// std::exception, "int 7" for an int.
template <class Action>
std::string thrownBy(Action&& action) {
  try {
    action();
  } catch (const HudException& exception) {
    return std::string(exception.name()) + ": " + exception.reason();
  } catch (const std::exception& exception) {
    return exception.what();
  } catch (int value) {
    return "int " + std::to_string(value);
  }
  return {};
}

inline constexpr std::string_view kOutOfBounds =
    "IndexOutOfBoundsException: Attempted to access an array index that is out of bounds";
inline constexpr std::string_view kNotYetImplemented =
    "InternalInconsistencyException: Not yet implemented";
inline constexpr std::string_view kMutated =
    "CollectionMutatedException: The set of listeners was changed while a packet was delivered to "
    "it";
inline constexpr std::string_view kClosed =
    "MainThreadClosedException: The main thread takes no more tasks";

// Takes the log's lines while it lives, from every thread.
class LogCapture {
 public:
  LogCapture() {
    HudLog::setSink([state = state_](std::string_view line) {
      const std::lock_guard lock(state->mutex);
      state->lines.emplace_back(line);
    });
  }
  ~LogCapture() { HudLog::setSink({}); }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // The lines since the last call.
  std::vector<std::string> take() {
    const std::lock_guard lock(state_->mutex);
    return std::exchange(state_->lines, {});
  }

 private:
  struct State {
    std::mutex mutex;
    std::vector<std::string> lines;
  };
  const std::shared_ptr<State> state_ = std::make_shared<State>();
};

// A network whose transport keeps the frames, and then does what it is told.
class RecordingNetwork : public HudNetwork {
 public:
  std::function<bool()> transport = [] { return true; };

  bool sendPacketImpl(Bytes frame) override {
    {
      const std::lock_guard lock(mutex_);
      frames_.push_back(std::move(frame));
    }
    return transport();
  }

  // The frames since the last call.
  std::vector<Bytes> take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(frames_, {});
  }

 private:
  std::mutex mutex_;
  std::vector<Bytes> frames_;
};

// Keeps what it receives, and then does what it is told. Takes no lock: it is called on the main
// thread, and the thread sanitizer sees where it is not.
class RecordingListener : public PacketHandleDelegate {
 public:
  std::function<void(const std::shared_ptr<HudPacket>&)> action;

  void onPacketReceived(const std::shared_ptr<HudPacket>& packet) override {
    packets_.push_back(packet);
    if (action) action(packet);
  }

  // The packets since the last call.
  std::vector<std::shared_ptr<HudPacket>> take() { return std::exchange(packets_, {}); }

  // The descriptions of the packets since the last call.
  std::vector<std::string> takeDescriptions() {
    std::vector<std::string> descriptions;
    for (const auto& packet : take()) descriptions.push_back(packet->description());
    return descriptions;
  }

 private:
  std::vector<std::shared_ptr<HudPacket>> packets_;
};

// Counts what comes.
class CountingQueue : public MainThreadQueue {
 public:
  void post(Task task) override {
    MainThreadQueue::post(std::move(task));
    ++posts_;
  }
  // Until so many tasks have come.
  void awaitPosts(int count) const {
    while (posts_ < count) std::this_thread::yield();
  }

 private:
  std::atomic<int> posts_ = 0;
};

// Makes the thread that constructs it the main thread, with a queue of its own, while it lives.
class MainThreadScope {
 public:
  MainThreadScope() { MainThread::setInstance(queue_); }
  ~MainThreadScope() {
    queue_->quit();
    MainThread::setInstance(nullptr);
  }
  MainThreadScope(const MainThreadScope&) = delete;
  MainThreadScope& operator=(const MainThreadScope&) = delete;

  CountingQueue& queue() { return *queue_; }

  // Runs the action on another thread while this one runs its queue. Throws what the action throws.
  template <class Action>
  void pumpWhile(Action action) {
    std::packaged_task<void()> task(std::move(action));
    auto done = task.get_future();
    std::thread thread(std::move(task));
    while (done.wait_for(std::chrono::microseconds(100)) != std::future_status::ready) {
      queue_->runPending();
    }
    thread.join();
    done.get();
  }

 private:
  const std::shared_ptr<CountingQueue> queue_ = std::make_shared<CountingQueue>();
};

// Returns at all only where no thread holds the network's listener lock.
inline void expectLockIsFree(HudNetwork& network) {
  std::thread([&] { network.unregisterPacketHandleDelegate(nullptr); }).join();
}

}  // namespace varno::test
