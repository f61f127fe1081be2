#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoNetwork/Network/HudNetwork.h>
#include <VarnoNetwork/Network/MainThread.h>
#include <VarnoTraffic/FrameCutter.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>

namespace varno {

// The limits of an inbox.
struct FrameInboxOptions {
  // How much may wait for the main thread.
  std::size_t maxFrames = 100'000;
  std::size_t maxBytes = std::size_t{4} << 20;

  std::size_t maxFrameBytes = FrameCutter::kDefaultMaxFrameBytes;  // of the longest frame kept

  // Told on the main thread, once for each time that feed() returned false: there is room again.
  std::function<void()> onRoom = {};
};

// What an inbox has done so far.
struct FrameInboxCounters {
  FrameCutter::Counts pieces;       // what was cut
  std::uint64_t refusedFrames = 0;  // that handleRawPacket would have thrown for: malformed ones
  std::size_t waitingFrames = 0;    // for the main thread, now
  std::size_t waitingBytes = 0;
};

// The receiving half of a link: takes the bytes that one thread reads, cuts them into frames and
// hands these to a network on the main thread.
//
//   varno::FrameInbox inbox(network);
//   while (readSome(bytes)) {  // on a thread of your own
//     if (!inbox.feed(bytes) && !inbox.waitForRoom()) break;
//   }
//   inbox.finish();
//
// The frames wait in a queue, which the main thread works off in batches: a burst costs it one
// wake-up, and other tasks have their turn every 5 ms. The reading thread never waits for the main
// thread, unless it asks to with waitForRoom(). Listeners get packets in the order of the stream.
// Inside a listener other listeners may be registered and unregistered, the inbox closed, and the
// network and the inbox destroyed. A listener that runs the main thread's queue itself gets no
// other packet of this network meanwhile.
//
// What a listener throws leaves the main thread's run() or runPending(), as what a posted task
// throws. The listeners after it do not see that packet; the packets after it all arrive, as soon
// as the queue is run again.
class VARNO_EXPORT FrameInbox {
 public:
  // network: may be destroyed before the inbox, which then delivers nothing. Throws
  // InvalidArgumentException for limits that no frame would ever pass.
  explicit FrameInbox(const HudNetwork& network, FrameInboxOptions options = {});

  // Closes.
  ~FrameInbox();

  FrameInbox(const FrameInbox&) = delete;
  FrameInbox& operator=(const FrameInbox&) = delete;

  // Takes what was just read. Returns false when the queue is full now: stop reading until there is
  // room; and once the inbox is closed. The bytes are taken in any case, so the queue holds up to
  // one call's more than its limits. Throws std::bad_alloc, and what MainThread::post throws: then
  // a part of the stream is lost, so end the connection and call finish(). One thread at a time.
  bool feed(std::span<const std::uint8_t> bytes);

  // The connection has ended: an unfinished frame must not become the beginning of the next. On the
  // thread that feeds.
  void finish();

  // Has the task run on the main thread, behind the frames that were fed before. It does not count
  // for the limits. On any thread. An empty task is ignored.
  void post(MainThread::Task task);

  // Returns when there is room; false when the inbox was closed. Throws
  // InternalInconsistencyException on the main thread, which is what makes room.
  bool waitForRoom();

  // For good: what waits is dropped, and nothing is delivered any more. On any thread, inside a
  // listener too; does not wait for the main thread to run its queue. A listener that is running on
  // another thread runs to its end; this waits for it 50 ms at the most.
  void close() noexcept;

  // On any thread.
  FrameInboxCounters counters() const;

 private:
  struct State;

  const std::shared_ptr<State> state_;
};

}  // namespace varno
