#pragma once

#include <VarnoLink/LinkLoop.h>
#include <VarnoLink/LinkOptions.h>
#include <VarnoNetwork/Export.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace varno {

class LinkCore;
class NetworkLink;
class Relay;

// Carries bytes both ways over an address, and comes back by itself when the connection is lost:
//
//   LinkLoop loop;
//   LinkHandlers handlers;
//   handlers.onStatus = [&](const LinkStatus& status) { ... };
//   handlers.onBytes = [&](std::span<const std::uint8_t> bytes) { ... };
//   Link link(loop, Address::parse("tcp://192.168.43.1:4711"), {}, std::move(handlers));
//   link.open();
//   loop.run();
//
// A side that listens (a pseudo-terminal does, too) serves one peer at a time; others that connect
// meanwhile wait, and are served after it. A listening Unix socket takes over the path of a program
// that has ended, never that of one that still listens, and is removed at the end.
//
// On the loop's thread (see LinkLoop). No function waits for anything: not for the peer, not for a
// name being looked up. But hanging up waits until a serial line has taken what its driver has,
// half a second at most.
class VARNO_EXPORT Link {
 public:
  // loop: outlives the link. Nothing happens before open().
  Link(LinkLoop& loop, Address address, LinkOptions options, LinkHandlers handlers);

  // Over what the caller opened and connected: a socket, a terminal, a pipe that goes both ways.
  // descriptor: owned by the link from here on, also if this throws; it is made non-blocking. When
  // it has ended, the link stays down for good.
  Link(LinkLoop& loop, int descriptor, LinkOptions options, LinkHandlers handlers);

  // Closes.
  ~Link();

  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;

  // Begins to connect or listen, and keeps at it until close(). Without effect on a link that is
  // open. Throws std::bad_alloc.
  void open();

  // Hangs up and stays down until open(). What the system has taken is still delivered; what is
  // queued is discarded. No handler is called, for this or anything before.
  void close() noexcept;

  // Ends the connection in order, as close() does, and goes on as after any loss: where it listens
  // it waits for the next peer at the same place. onStatus tells it later. Without effect on a link
  // that is not up.
  void hangUp() noexcept;

  // Ends the connection as a crash would: at once, on TCP by a reset, so that the peer may lose
  // what it has not read yet. Then the link goes on as after any loss; onStatus tells it later.
  // Without effect on a link that is not up. The peer of a pseudo-terminal does not notice: that
  // stays, with its path, until close().
  void reset() noexcept;

  // Queues the bytes to be written in one piece, behind those of earlier sends; what is sent in one
  // handler is written in one go. False, and nothing queued, where the link is not up or the peer
  // takes nothing any more, the queue has no room for all of it, or memory ran out. True promises
  // no delivery: what is queued when the connection ends is discarded. No bytes are no send.
  bool send(std::span<const std::uint8_t> bytes) noexcept;

  // What waits to be taken by the system.
  std::size_t queuedBytes() const noexcept;
  std::size_t queuedSends() const noexcept;

  // Stops reading, so that a peer that goes on is held up in the end, and goes on with it. It holds
  // for later connections, too. While it is stopped, the end of the connection is not told, since
  // there may be something to be read before it; sends fail then.
  void pauseReading() noexcept;
  void resumeReading();

  const LinkStatus& status() const noexcept;

 private:
  friend class NetworkLink;
  friend class Relay;

  // As send(), but throws std::bad_alloc where memory ran out.
  VARNO_INTERNAL bool sendOrThrow(std::span<const std::uint8_t> bytes);

  const std::shared_ptr<LinkCore> core_;
};

}  // namespace varno
