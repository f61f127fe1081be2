#pragma once

#include <httplib.h>

#include <array>
#include <chrono>
#include <cstddef>

namespace varno::tool {

// The bytes of one request and its response on a socket, which the caller closes.
class HttpConnection : public httplib::Stream {
 public:
  explicit HttpConnection(socket_t socket);

  using Stream::write;
  bool is_readable() const override;
  bool is_writable() const override;
  ssize_t read(char* bytes, size_t size) override;
  ssize_t write(const char* bytes, size_t size) override;
  void get_remote_ip_and_port(std::string& ip, int& port) const override;
  void get_local_ip_and_port(std::string& ip, int& port) const override;
  socket_t socket() const override { return socket_; }

  // After the response: lets the peer read it, which a reset would take away from it while it still
  // sends.
  void finish() const;

  // Ends the sending, drops for so long what still comes in, and closes.
  static void closeGently(socket_t socket, std::chrono::milliseconds patience);

 private:
  using Clock = std::chrono::steady_clock;

  bool waitFor(short event, Clock::time_point deadline) const;

  socket_t socket_;
  Clock::time_point readDeadline_;
  std::size_t budget_;  // of bytes that may still come in
  std::array<char, 4096> buffer_{};
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
};

}  // namespace varno::tool
