#pragma once

#include "FrameReceiver.h"
#include "FrameWriter.h"
#include "Socket.h"

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <thread>

namespace varno::example {

struct SocketLinkOptions {
  // Told on the main thread, and waited for: that there is a connection now, and that there is none
  // any more or an attempt to get one failed, with the reason. May write; must not stop the link.
  std::function<void()> onUp;
  std::function<void(const std::string& reason)> onDown;

  std::chrono::milliseconds connectTimeout{5000};
  std::chrono::milliseconds writeTimeout{2000};  // how long a write waits for a peer

  // Between a loss and the next attempt. Doubled as long as no frame arrives, up to the longest: a
  // peer that accepts each connection and drops it is no better than one that is not there.
  std::chrono::milliseconds firstPause{100};
  std::chrono::milliseconds longestPause{5000};
};

// A link to a display that listens at an address: connects, receives, and connects again when the
// connection is lost, on a thread of its own.
class SocketLink {
 public:
  // network: gets the frames; not owned, outlives the link. Nothing happens before start().
  SocketLink(HudNetwork& network, const SocketAddress& address, SocketLinkOptions options = {});

  // Stops.
  ~SocketLink();

  SocketLink(const SocketLink&) = delete;
  SocketLink& operator=(const SocketLink&) = delete;

  // Starts the thread, once; after the listeners have been registered.
  void start();

  // Ends the connection and the thread, in whatever they are, and waits for the thread. What was
  // written just before may get lost: where it matters, await the peer's answer. On the main thread
  // quit its queue first, as for FrameReader::stop().
  void stop();

  // Writes a whole frame, as FrameWriter does; false as well while there is no connection. A frame
  // that a connection did not take is not kept for the next. On any thread.
  bool write(std::span<const std::uint8_t> frame);

  // What was read, over all connections. After stop().
  const FrameCutter::Counts& counts() const { return receiver_.counts(); }

 private:
  struct Connection;

  void run();
  std::optional<std::string> connectAndReceive();
  void setConnection(std::shared_ptr<Connection> connection);
  static void tellMainThread(const std::function<void()>& task);

  const SocketAddress address_;
  const SocketLinkOptions options_;
  WakePipe stop_;
  FrameReceiver receiver_;
  std::mutex mutex_;                        // guards the pointer
  std::shared_ptr<Connection> connection_;  // shared with those who are writing to it; may be null
  std::thread thread_;
};

}  // namespace varno::example
