#include <VarnoLink/Private/Socket.h>

#include <VarnoLink/Private/SocketAddress.h>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <optional>

namespace varno {
namespace {

// A radio that loses sight says no goodbye: the connection is given up after so much silence.
void limitSilence(const Descriptor& socket, std::chrono::seconds limit) {
  if (limit <= std::chrono::seconds(0)) return;
  const int seconds =
      static_cast<int>(std::clamp<std::chrono::seconds::rep>(limit.count(), 2, 3600));
  const int probe = std::max(1, seconds / 5);
  setSocketOption(socket, SOL_SOCKET, SO_KEEPALIVE, 1);
#if defined(TCP_KEEPIDLE)
  setSocketOption(socket, IPPROTO_TCP, TCP_KEEPIDLE, probe);
#elif defined(TCP_KEEPALIVE)
  setSocketOption(socket, IPPROTO_TCP, TCP_KEEPALIVE, probe);
#endif
#if defined(TCP_KEEPINTVL) && defined(TCP_KEEPCNT)
  setSocketOption(socket, IPPROTO_TCP, TCP_KEEPINTVL, probe);
  setSocketOption(socket, IPPROTO_TCP, TCP_KEEPCNT, seconds / probe - 1);
#endif
#if defined(TCP_USER_TIMEOUT)
  setSocketOption(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, 1000 * seconds);
#endif
}

}  // namespace

Descriptor openSocket(int family) {
  Descriptor socket(::socket(family, SOCK_STREAM, 0));
  if (!socket) throwErrno();
  makeNonBlocking(socket.number());
  return socket;
}

void setSocketOption(const Descriptor& socket, int level, int name, int value) {
  if (::setsockopt(socket.number(), level, name, &value, sizeof value) != 0) throwErrno();
}

void prepareConnection(const Descriptor& socket, const LinkOptions& options) {
  const std::optional<SocketAddress> address = SocketAddress::ofSocket(socket.number());
  if (!address || address->family() == AF_UNIX) return;
  setSocketOption(socket, IPPROTO_TCP, TCP_NODELAY, 1);  // frames are short and wait for nothing
  limitSilence(socket, options.silenceTimeout);
}

Descriptor acceptConnection(int listening) {
  for (;;) {
    Descriptor connection(::accept(listening, nullptr, nullptr));
    if (connection) {
      makeNonBlocking(connection.number());
      return connection;
    }
    if (errno == EAGAIN) return connection;
    // Of a peer that has gone again there is nothing to tell.
    if (errno != EINTR && errno != ECONNABORTED) throwErrno();
  }
}

}  // namespace varno
