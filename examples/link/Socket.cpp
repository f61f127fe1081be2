#include "Socket.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <system_error>

namespace varno::example {
namespace {

// A radio that loses sight says no goodbye, so the connection is given up after this much silence.
constexpr int kSilentSeconds = 10;
constexpr int kProbeSeconds = 2;

void setOption(const Descriptor& socket, int level, int name, int value) {
  if (::setsockopt(socket.number(), level, name, &value, sizeof value) != 0) {
    throwErrno("cannot set the socket");
  }
}

// Once it is connected: the limits below would be those of the attempt, too.
void prepareConnection(const Descriptor& socket, int family) {
  if (family == AF_UNIX) return;
  setOption(socket, IPPROTO_TCP, TCP_NODELAY, 1);  // frames are short and wait for nothing
  setOption(socket, SOL_SOCKET, SO_KEEPALIVE, 1);
#ifdef TCP_USER_TIMEOUT  // elsewhere these have other names, or none
  setOption(socket, IPPROTO_TCP, TCP_KEEPIDLE, kProbeSeconds);
  setOption(socket, IPPROTO_TCP, TCP_KEEPINTVL, kProbeSeconds);
  setOption(socket, IPPROTO_TCP, TCP_KEEPCNT, kSilentSeconds / kProbeSeconds - 1);
  setOption(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, 1000 * kSilentSeconds);
#endif
}

Descriptor openSocket(int family) {
  Descriptor socket(::socket(family, SOCK_STREAM, 0));
  if (socket.number() < 0) throwErrno("cannot open a socket");
  makeNonBlocking(socket.number());
  return socket;
}

const char* pathOf(const SocketAddress& address) {
  return reinterpret_cast<const sockaddr_un*>(address.data())->sun_path;
}

}  // namespace

SocketAddress::SocketAddress(const std::string& text) {
  if (text.find('/') != std::string::npos) {
    sockaddr_un unixAddress{};
    if (text.size() >= sizeof unixAddress.sun_path) {
      throw std::invalid_argument("the path of a socket is too long: " + text);
    }
    unixAddress.sun_family = AF_UNIX;
    text.copy(unixAddress.sun_path, text.size());
    size_ = sizeof unixAddress;
    std::memcpy(&storage_, &unixAddress, sizeof unixAddress);
    return;
  }

  const std::size_t colon = text.rfind(':');
  if (colon == std::string::npos) throw std::invalid_argument("no port in " + text);
  std::string host = text.substr(0, colon);
  if (host.size() > 1 && host.front() == '[' && host.back() == ']') {
    host = host.substr(1, host.size() - 2);
  }
  addrinfo wanted{};
  wanted.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
  wanted.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int error = ::getaddrinfo(host.c_str(), text.c_str() + colon + 1, &wanted, &found);
  if (error != 0) throw std::invalid_argument(text + ": " + ::gai_strerror(error));
  const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owned(found, &::freeaddrinfo);
  size_ = found->ai_addrlen;
  std::memcpy(&storage_, found->ai_addr, size_);
}

SocketAddress SocketAddress::ofSocket(int descriptor) {
  SocketAddress address;
  if (::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address.storage_), &address.size_) !=
      0) {
    throwErrno("the socket has no address");
  }
  return address;
}

std::string SocketAddress::text() const {
  if (family() == AF_UNIX) return pathOf(*this);
  std::array<char, NI_MAXHOST> host{};
  std::array<char, NI_MAXSERV> port{};
  if (::getnameinfo(data(), size_, host.data(), host.size(), port.data(), port.size(),
                    NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
    return "an unknown address";
  }
  const std::string plain = host.data();
  return (family() == AF_INET6 ? '[' + plain + ']' : plain) + ':' + port.data();
}

std::optional<Descriptor> connectSocket(const SocketAddress& address, Deadline deadline,
                                        const WakePipe& stop) {
  Descriptor socket = openSocket(address.family());
  const int result = ::connect(socket.number(), address.data(), address.size());
  // A signal does not end the attempt: it goes on, and calling again would be a mistake.
  if (result != 0 && errno != EINPROGRESS && errno != EINTR) throwErrno("cannot connect");
  std::array<pollfd, 2> polled{{{socket.number(), POLLOUT, 0}, {stop.descriptor(), POLLIN, 0}}};
  const bool isInTime = pollUntil(polled, deadline);
  if (polled[1].revents != 0) return std::nullopt;
  int error = ETIMEDOUT;
  socklen_t size = sizeof error;
  if (isInTime) ::getsockopt(socket.number(), SOL_SOCKET, SO_ERROR, &error, &size);
  if (error != 0) throw std::system_error(error, std::generic_category(), "cannot connect");
  prepareConnection(socket, address.family());
  return socket;
}

ListeningSocket::ListeningSocket(const SocketAddress& address, int backlog)
    : socket_(openSocket(address.family())) {
  if (address.family() == AF_UNIX) {
    struct stat status {};
    if (::lstat(pathOf(address), &status) == 0 && S_ISSOCK(status.st_mode)) {
      ::unlink(pathOf(address));
    }
  } else {
    // Else the port would be taken for a minute after a program that had connections on it.
    setOption(socket_, SOL_SOCKET, SO_REUSEADDR, 1);
  }
  if (::bind(socket_.number(), address.data(), address.size()) != 0 ||
      ::listen(socket_.number(), backlog) != 0) {
    throwErrno("cannot listen");
  }
}

ListeningSocket::~ListeningSocket() {
  const SocketAddress bound = address();
  if (bound.family() == AF_UNIX) ::unlink(pathOf(bound));
}

Descriptor ListeningSocket::accept(Deadline deadline) const {
  for (;;) {
    Descriptor connection(::accept(socket_.number(), nullptr, nullptr));
    if (connection.number() >= 0) {
      makeNonBlocking(connection.number());
      prepareConnection(connection, address().family());
      return connection;
    }
    if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED) throwErrno("cannot accept");
    pollfd polled{socket_.number(), POLLIN, 0};
    if (!pollUntil({&polled, 1}, deadline)) {
      throw std::system_error(ETIMEDOUT, std::generic_category(), "nobody connected");
    }
  }
}

}  // namespace varno::example
