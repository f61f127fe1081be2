#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace varno {

// The frames that wait to be given to the system, between the threads that send and the link's
// thread.
class FrameOutbox {
 public:
  using OnGiven = std::function<void(bool isGiven)>;
  using Tell = std::function<void(OnGiven&&)>;

  struct Limits {
    std::size_t frames;
    std::size_t bytes;
  };

  // What the link's thread takes at once.
  struct Batch {
    std::vector<std::uint8_t> bytes;
    std::vector<std::size_t> sizes;  // of each frame
  };

  // wake: has the link's thread call take(); called under the lock, and throws std::bad_alloc.
  FrameOutbox(Limits limits, std::function<void()> wake)
      : limits_(limits), wake_(std::move(wake)) {}

  // On any thread. False where the link is not up, or too much waits. onGiven: may be empty.
  bool push(std::span<const std::uint8_t> frame, OnGiven&& onGiven);

  // On any thread: until nothing waits of what was pushed before, nor in a fault. False when the
  // time passed first or something was lost.
  bool waitUntilGiven(std::chrono::milliseconds timeout);

  // The connection has ended, on any thread. Calls tell with what was to be told of the frames that
  // waited.
  void close(const Tell& tell);

  // These on the link's thread.

  void open();

  // What has come since the last call. The frames count as waiting until they are given.
  void take(Batch& batch);

  // The system has taken so many more frames, of so many bytes. Calls tell with what is to be told.
  void give(std::size_t frames, std::size_t bytes, const Tell& tell);

  // How many bytes more wait, of which no frame is counted here: in a fault.
  void setOtherBytes(std::size_t bytes);

  std::uint64_t given() const;
  std::uint64_t lost() const;

 private:
  using Told = std::pair<std::uint64_t, OnGiven>;

  const Limits limits_;
  const std::function<void()> wake_;

  mutable std::mutex mutex_;  // guards what follows
  std::condition_variable changed_;
  bool isOpen_ = false;
  bool isAwake_ = false;  // whether the link's thread will call take()
  Batch coming_;
  std::size_t frames_ = 0;
  std::size_t bytes_ = 0;
  std::size_t otherBytes_ = 0;
  std::uint64_t given_ = 0;
  std::uint64_t lost_ = 0;
  std::uint64_t pushed_ = 0;
  std::list<Told> told_;  // by the number of the frame, in order; a list, since an empty one and
                          // what is moved between two need no memory
};

}  // namespace varno
