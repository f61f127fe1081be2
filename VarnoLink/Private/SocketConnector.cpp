#include <VarnoLink/Private/SocketConnector.h>

#include <VarnoLink/Private/LinkFailure.h>
#include <VarnoLink/Private/Socket.h>

#include <sys/socket.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace varno {

SocketConnector::SocketConnector(EventHost& host, Owner& owner, Address address,
                                 const LinkOptions& options)
    : Opener(host, owner), address_(std::move(address)), options_(options), resolver_(host) {}

void SocketConnector::start() {
  const std::uint64_t epoch = host().epoch();
  owner().onOpening(address_);
  if (epoch != host().epoch()) return;
  if (address_.kind() == Address::Kind::kUnix) {
    return onResolved({{SocketAddress::ofPath(address_.path())}, {}});
  }
  resolver_.resolve(address_.host(), address_.port(), options_.connectTimeout,
                    [this](LookupResult result) { onResolved(std::move(result)); });
}

void SocketConnector::cancel() noexcept {
  resolver_.cancel();
  socket_.reset();
}

void SocketConnector::onResolved(LookupResult result) {
  if (result.addresses.empty()) return owner().onOpenFailed(std::move(result.reason));
  candidates_ = std::move(result.addresses);
  next_ = 0;
  tryNext();
}

void SocketConnector::tryNext() {
  const SocketAddress& candidate = candidates_[next_++];
  Descriptor socket;
  try {
    socket = openSocket(candidate.family());
  } catch (const std::system_error& error) {
    return giveUp(reasonOf(error.code().value()));  // of a family that is switched off, for example
  }
  if (::connect(socket.number(), candidate.data(), candidate.size()) == 0) {
    return succeed(std::move(socket));
  }
  // A signal does not end the attempt: it goes on, and calling again would be a mistake.
  if (errno != EINPROGRESS && errno != EINTR) return giveUp(explained(errno));
  socket_.emplace(host().loop().context(), socket.number());
  socket.release();
  host().limit(options_.connectTimeout, [this] { giveUp("the host does not answer"); });
  host().waitWritable(*socket_, [this] { onAnswer(); });
}

void SocketConnector::onAnswer() {
  const int number = socket_->native_handle();
  int error = 0;
  socklen_t size = sizeof error;
  ::getsockopt(number, SOL_SOCKET, SO_ERROR, &error, &size);
  if (error != 0) return giveUp(explained(error));
  const std::optional<SocketAddress> peer = SocketAddress::ofPeer(number);
  if (!peer) return host().waitWritable(*socket_, [this] { onAnswer(); });
  // Who tries a port of the own machine long enough is given just that port, and meets himself.
  if (peer == SocketAddress::ofSocket(number)) return giveUp(reasonOf(ECONNREFUSED));
  Descriptor connection(socket_->release());
  socket_.reset();
  succeed(std::move(connection));
}

void SocketConnector::giveUp(std::string reason) {
  host().beginEpoch();
  socket_.reset();
  if (next_ < candidates_.size()) {
    tryNext();
  } else {
    owner().onOpenFailed(std::move(reason));
  }
}

void SocketConnector::succeed(Descriptor connection) {
  host().stopTimer();
  prepareConnection(connection, options_);
  owner().onOpened(std::move(connection), {});
}

std::string SocketConnector::explained(int error) const {
  if (address_.kind() == Address::Kind::kUnix) {
    if (error == ENOENT) return "nobody listens: no such file";
    if (error == EAGAIN) return "the listener is busy with others";
  }
  return error == ETIMEDOUT ? "the host does not answer" : reasonOf(error);
}

}  // namespace varno
