#include <VarnoLink/Private/SocketListener.h>

#include <VarnoLink/Private/LinkFailure.h>
#include <VarnoLink/Private/Socket.h>

#include <sys/socket.h>

#include <cstddef>
#include <system_error>
#include <utility>

namespace varno {
namespace {

// Peers that may wait for the one that is served.
constexpr int kBacklog = 16;

}  // namespace

SocketListener::SocketListener(EventHost& host, Owner& owner, const Address& address,
                               const LinkOptions& options)
    : Opener(host, owner), wanted_(address), actual_(address), options_(options), resolver_(host) {}

SocketListener::~SocketListener() { close(); }

void SocketListener::close() noexcept {
  cancel();
  path_.reset();  // first: as long as the socket is open, nobody else's can be taken for it
  socket_.reset();
}

void SocketListener::start() {
  if (socket_) return awaitPeer();
  if (wanted_.kind() == Address::Kind::kUnixListen) return listenAtPath();
  resolver_.resolve(wanted_.host(), wanted_.port(), options_.connectTimeout,
                    [this](const LookupResult& result) { listenAt(result); });
}

void SocketListener::listenAt(const LookupResult& result) {
  if (result.addresses.empty()) throw LinkFailure(result.reason);
  for (std::size_t index = 0;; ++index) {
    try {
      return listenAt(result.addresses[index]);
    } catch (const std::system_error&) {
      if (index + 1 == result.addresses.size()) throw;
    }
  }
}

void SocketListener::listenAt(const SocketAddress& address) {
  Descriptor socket = openSocket(address.family());
  // Else the port would be taken for a minute after a program that had connections on it.
  setSocketOption(socket, SOL_SOCKET, SO_REUSEADDR, 1);
  if (::bind(socket.number(), address.data(), address.size()) != 0) throwErrno();
  if (::listen(socket.number(), kBacklog) != 0) throwErrno();
  const std::optional<SocketAddress> bound = SocketAddress::ofSocket(socket.number());
  actual_ = Address::tcpListen(wanted_.host(), bound ? bound->port() : wanted_.port());
  adopt(std::move(socket));
}

void SocketListener::listenAtPath() {
  Descriptor socket = openSocket(AF_UNIX);
  path_.emplace(wanted_.path(), socket.number(), kBacklog);
  adopt(std::move(socket));
}

void SocketListener::adopt(Descriptor socket) {
  socket_.emplace(host().loop().context(), socket.number());
  socket.release();
  awaitPeer();
}

void SocketListener::awaitPeer() {
  host().waitReadable(*socket_, [this] { accept(); });
  owner().onOpening(actual_);
}

void SocketListener::accept() {
  Descriptor connection = acceptConnection(socket_->native_handle());
  if (!connection) return host().waitReadable(*socket_, [this] { accept(); });
  prepareConnection(connection, options_);
  owner().onOpened(std::move(connection), {});
}

}  // namespace varno
