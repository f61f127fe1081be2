#pragma once

#include <httplib.h>

#include <cstddef>
#include <mutex>
#include <set>
#include <string>

namespace varno::tool {

// cpp-httplib's server with limits: each connection carries one request, whose bytes are counted
// and have to arrive in time; a reader that takes nothing for a while is hung up on; beyond a
// number of connections the next ones are told so at once, without a thread.
class HttpServer : public httplib::Server {
 public:
  static constexpr std::size_t kMaxBodyBytes = std::size_t{256} << 10;

  explicit HttpServer(std::size_t maxConnections);
  ~HttpServer() override;
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  // Returns the port, which is one of the system's choice for 0. Throws std::runtime_error.
  int bind(const std::string& host, int port);

  // Accepts connections until it is stopped.
  void serve();

  // From any thread: ends serve(), and every connection, whatever its peer does.
  void stopAll();

 private:
  bool process_and_close_socket(socket_t socket) override;

  std::mutex mutex_;
  std::set<socket_t> sockets_;
  bool isStopped_ = false;
};

}  // namespace varno::tool
