#pragma once

#include "Descriptor.h"
#include "WakePipe.h"

#include <sys/socket.h>

#include <optional>
#include <string>

namespace varno::example {

// Where a stream socket listens.
class SocketAddress {
 public:
  // A path, which has a slash in it, for a Unix socket: "/run/display". For TCP a host and a port
  // in figures: "192.168.43.1:4711", "[fe80::1%wlan0]:4711". Names are not looked up, since nothing
  // interrupts that when it takes long. Throws std::invalid_argument.
  explicit SocketAddress(const std::string& text);

  // The address that a socket is bound to.
  static SocketAddress ofSocket(int descriptor);

  // As the constructor takes it.
  std::string text() const;

  int family() const { return storage_.ss_family; }
  const sockaddr* data() const { return reinterpret_cast<const sockaddr*>(&storage_); }
  socklen_t size() const { return size_; }

 private:
  SocketAddress() = default;

  sockaddr_storage storage_{};
  socklen_t size_ = sizeof storage_;
};

// Connects a non-blocking socket; none where `stop` was woken meanwhile. Throws std::system_error
// when that fails or the deadline passes.
std::optional<Descriptor> connectSocket(const SocketAddress& address, Deadline deadline,
                                        const WakePipe& stop);

// A socket that listens, as a display's does. Throws std::system_error.
class ListeningSocket {
 public:
  // Port 0 takes any that is free. A Unix socket that an ended program left behind is replaced.
  // backlog: the connections that may wait to be accepted.
  explicit ListeningSocket(const SocketAddress& address, int backlog = 4);

  // A Unix socket leaves the file system.
  ~ListeningSocket();

  ListeningSocket(const ListeningSocket&) = delete;
  ListeningSocket& operator=(const ListeningSocket&) = delete;

  // With the port that was taken.
  SocketAddress address() const { return SocketAddress::ofSocket(socket_.number()); }

  // The next connection, non-blocking. Throws when the deadline passes first.
  Descriptor accept(Deadline deadline) const;

 private:
  const Descriptor socket_;
};

}  // namespace varno::example
