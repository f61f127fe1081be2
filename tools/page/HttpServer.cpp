#include "tools/page/HttpServer.h"

#include "tools/page/HttpConnection.h"
#include "tools/page/HttpWorkers.h"

#include <VarnoNetwork/Network/HudLog.h>

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace varno::tool {
namespace {

constexpr int kBacklog = 512;

// The answer to a connection too many. It goes out in one call, or not at all.
constexpr std::string_view kBusy =
    "HTTP/1.1 503 Service Unavailable\r\nConnection: close\r\nRetry-After: 2\r\n"
    "Content-Type: text/plain\r\nContent-Length: 50\r\n\r\n"
    "Too many connections at once. Try again in a bit.\n";

// Without SO_REUSEPORT, which httplib would set: two programs would share the port.
void setSocketOptions(socket_t socket) {
  const int yes = 1;
  ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
}

}  // namespace

HttpServer::HttpServer(std::size_t maxConnections) {
  new_task_queue = [maxConnections] {
    return std::make_unique<HttpWorkers>(maxConnections).release();  // httplib deletes it
  };
  set_socket_options(setSocketOptions);
  set_payload_max_length(kMaxBodyBytes);
  set_tcp_nodelay(true);
}

HttpServer::~HttpServer() { stopAll(); }

int HttpServer::bind(const std::string& host, int port) {
  errno = 0;
  const bool isAny = port == 0;
  const int bound = isAny ? bind_to_any_port(host) : (bind_to_port(host, port) ? port : -1);
  if (bound <= 0) {
    const std::string reason =
        errno == 0 ? ": no such host" : ": " + std::generic_category().message(errno);
    throw std::runtime_error("the page cannot listen on " + HudLog::printableLine(host) +
                             (isAny ? "" : " port " + std::to_string(port)) + reason);
  }
  ::listen(svr_sock_, kBacklog);  // httplib's own backlog is 5
  return bound;
}

void HttpServer::serve() {
  sigset_t all{};
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_BLOCK, &all, nullptr);  // they are for the tool's threads, and end accept()
  listen_after_bind();
  svr_sock_ = INVALID_SOCKET;  // closed
}

void HttpServer::stopAll() {
  const std::lock_guard lock(mutex_);
  if (std::exchange(isStopped_, true)) return;
  // Not httplib's stop(), which does nothing before the thread that accepts has begun.
  if (svr_sock_ != INVALID_SOCKET) ::shutdown(svr_sock_, SHUT_RDWR);
  for (const socket_t socket : sockets_) ::shutdown(socket, SHUT_RDWR);
}

bool HttpServer::process_and_close_socket(socket_t socket) {
  if (HttpWorkers::isOverloaded()) {
    ::send(socket, kBusy.data(), kBusy.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    HttpConnection::closeGently(socket, std::chrono::milliseconds(0));
    return true;
  }
  {
    const std::lock_guard lock(mutex_);
    if (isStopped_) {
      ::close(socket);
      return false;
    }
    sockets_.insert(socket);
  }
  HttpConnection connection(socket);
  bool isClosed = false;
  const bool isDone = process_request(connection, true, isClosed, nullptr);
  connection.finish();
  {
    const std::lock_guard lock(mutex_);
    sockets_.erase(socket);
  }
  ::close(socket);
  return isDone;
}

}  // namespace varno::tool
