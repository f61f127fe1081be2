#pragma once

#include <VarnoLink/Address.h>
#include <VarnoNetwork/Export.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace varno {

// How a link connects, comes back, and how much may wait in it.
struct LinkOptions {
  // Whether the link comes back after a connection or an attempt has ended. Without it a listening
  // side serves one peer, and then stays down.
  bool reconnects = true;

  // Between the end of a connection or attempt and the next attempt: doubled each time, to a
  // millisecond at least, up to the longest, until bytes arrive or a connection lasts as long as
  // the longest pause. Each pause is cut by up to half at random, so that many links do not come
  // back at the same moment. A side that listens waits for the next peer without a pause.
  std::chrono::nanoseconds firstPause = std::chrono::milliseconds(100);
  std::chrono::nanoseconds longestPause = std::chrono::seconds(5);
  std::optional<std::uint64_t> seed;  // of what is cut off; from the system where there is none

  // How long looking up a name may take, and each of its addresses to answer. Zero: as long as the
  // system lets it.
  std::chrono::nanoseconds connectTimeout = std::chrono::seconds(5);

  // How long a peer may take none of the bytes that wait for it. Then the connection is dropped.
  // Zero: for ever.
  std::chrono::nanoseconds writeTimeout = std::chrono::seconds(10);

  // TCP: how long the peer's system may be silent, though it is asked. Then the connection is
  // dropped. In whole seconds, at least 2. Zero: for ever.
  std::chrono::seconds silenceTimeout{10};

  // What may wait to be written. A send that would exceed either is refused.
  std::size_t maxQueuedBytes = std::size_t{4} << 20;
  std::size_t maxQueuedSends = 10'000;
};

enum class LinkState : std::uint8_t {
  kDown,        // not opened, closed, or in a pause before the next attempt
  kConnecting,  // an attempt is made; a listening side waits for its peer
  kUp,          // bytes go both ways
};

// "down", "connecting" or "up".
VARNO_EXPORT std::string_view linkStateText(LinkState state) noexcept;

// How a link stands.
struct LinkStatus {
  LinkState state = LinkState::kDown;

  // The link's, and from kConnecting on what it really is: with the port that was taken, and the
  // path of the pseudo-terminal.
  Address address;

  // Why the link is down, for people: "connection refused", "the peer hung up". Else empty, or a
  // hint: that another program holds the serial device, too.
  std::string reason;
};

// What a link calls, inside its loop's run() and never inside a call of its own. Each may be left
// out, and may call anything of the link, and destroy it. A handler that throws std::bad_alloc ends
// the connection, with that reason. Whatever else it throws leaves run(), and the link goes on as
// though the handler had returned.
struct LinkHandlers {
  // The state changed. Not called for close(). The status is the handler's as long as it runs.
  std::function<void(const LinkStatus& status)> onStatus;

  // Bytes came, at least one, in pieces of any size. They are there as long as the handler runs.
  std::function<void(std::span<const std::uint8_t> bytes)> onBytes;

  // The system has taken so many more bytes that were sent, and with them the last byte of so many
  // sends. Called once for each time that something was written.
  std::function<void(std::size_t sends, std::size_t bytes)> onWritten;
};

}  // namespace varno
