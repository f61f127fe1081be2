#include "SocketLink.h"

#include <VarnoNetwork/Network/HudException.h>
#include <VarnoNetwork/Network/MainThread.h>

#include <algorithm>
#include <exception>
#include <utility>

namespace varno::example {

struct SocketLink::Connection {
  Connection(Descriptor connected, std::chrono::milliseconds writeTimeout)
      : socket(std::move(connected)), writer(socket.number(), writeTimeout) {}

  const Descriptor socket;
  FrameWriter writer;
};

SocketLink::SocketLink(HudNetwork& network, const SocketAddress& address, SocketLinkOptions options)
    : address_(address), options_(std::move(options)), receiver_(network, stop_) {}

SocketLink::~SocketLink() { stop(); }

void SocketLink::start() { thread_ = std::thread(&SocketLink::run, this); }

void SocketLink::stop() {
  stop_.wake();
  if (thread_.joinable()) thread_.join();
}

bool SocketLink::write(std::span<const std::uint8_t> frame) {
  std::shared_ptr<Connection> connection;
  {
    const std::lock_guard lock(mutex_);
    connection = connection_;
  }
  return connection && connection->writer.write(frame);
}

void SocketLink::run() {
  try {
    std::chrono::milliseconds pause = options_.firstPause;
    for (;;) {
      const std::uint64_t framesBefore = counts().frames;
      const std::optional<std::string> reason = connectAndReceive();
      setConnection(nullptr);
      if (!reason) return;
      if (options_.onDown) tellMainThread([&] { options_.onDown(*reason); });

      if (counts().frames != framesBefore) pause = options_.firstPause;
      pollfd polled{stop_.descriptor(), POLLIN, 0};
      if (pollUntil({&polled, 1}, std::chrono::steady_clock::now() + pause)) return;
      pause = std::min(2 * pause, options_.longestPause);
    }
  } catch (const MainThreadClosedException&) {
    setConnection(nullptr);  // the application is shutting down
  }
}

// The reason why there is no connection any more; none where the link is to stop.
std::optional<std::string> SocketLink::connectAndReceive() {
  int descriptor = -1;
  try {
    const Deadline deadline = std::chrono::steady_clock::now() + options_.connectTimeout;
    std::optional<Descriptor> socket = connectSocket(address_, deadline, stop_);
    if (!socket) return std::nullopt;
    descriptor = socket->number();
    setConnection(std::make_shared<Connection>(std::move(*socket), options_.writeTimeout));
  } catch (const std::exception& exception) {
    return exception.what();
  }
  if (options_.onUp) tellMainThread(options_.onUp);
  return receiver_.receive(descriptor);
}

void SocketLink::setConnection(std::shared_ptr<Connection> connection) {
  {
    const std::lock_guard lock(mutex_);
    connection_.swap(connection);
  }
  // Ends the writes that wait for the peer; the last of them closes the socket.
  if (connection) ::shutdown(connection->socket.number(), SHUT_RDWR);
}

void SocketLink::tellMainThread(const std::function<void()>& task) {
  runOrLog("what the link tells", [&] { MainThread::instance().runAndWait(task); });
}

}  // namespace varno::example
