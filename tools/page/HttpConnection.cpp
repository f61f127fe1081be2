#include "tools/page/HttpConnection.h"

#include "tools/page/HttpServer.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace varno::tool {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kRequestTime{5000};   // for the whole of a request to come in
constexpr milliseconds kUnreadTime{10'000};  // a reader may take nothing for so long
constexpr milliseconds kLingerTime{1000};
constexpr std::size_t kMaxHeadBytes = std::size_t{64} << 10;

// How many bytes of a body that is refused are read, so that its sender sees why.
constexpr std::size_t kMaxLingerBytes = std::size_t{1} << 20;

void drain(socket_t socket, milliseconds patience) {
  std::array<char, std::size_t{16} << 10> dropped{};
  const auto deadline = std::chrono::steady_clock::now() + patience;
  for (std::size_t total = 0; total < kMaxLingerBytes;) {
    const auto left =
        std::chrono::duration_cast<milliseconds>(deadline - std::chrono::steady_clock::now());
    pollfd waiting{.fd = socket, .events = POLLIN, .revents = 0};
    if (left.count() < 0 || ::poll(&waiting, 1, static_cast<int>(left.count())) <= 0) return;
    const ssize_t got = ::recv(socket, dropped.data(), dropped.size(), MSG_DONTWAIT);
    if (got <= 0) return;
    total += static_cast<std::size_t>(got);
  }
}

}  // namespace

HttpConnection::HttpConnection(socket_t socket)
    : socket_(socket),
      readDeadline_(Clock::now() + kRequestTime),
      budget_(kMaxHeadBytes + HttpServer::kMaxBodyBytes) {}

bool HttpConnection::waitFor(short event, Clock::time_point deadline) const {
  for (;;) {
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now());
    pollfd waiting{.fd = socket_, .events = event, .revents = 0};
    const int ready =
        ::poll(&waiting, 1, static_cast<int>(std::max(left, milliseconds(0)).count()));
    if (ready > 0) return true;
    if (ready == 0 || errno != EINTR) return false;
  }
}

bool HttpConnection::is_readable() const { return begin_ < end_ || waitFor(POLLIN, Clock::now()); }

// The peer sends nothing behind its request: what can be read there is the end.
bool HttpConnection::is_writable() const {
  char unread = 0;
  const ssize_t got = ::recv(socket_, &unread, 1, MSG_PEEK | MSG_DONTWAIT);
  return got > 0 || (got < 0 && (errno == EAGAIN));
}

ssize_t HttpConnection::read(char* bytes, size_t size) {
  if (begin_ == end_) {
    const std::size_t wanted = std::min(buffer_.size(), budget_);
    if (wanted == 0 || !waitFor(POLLIN, readDeadline_)) return -1;
    const ssize_t got = ::recv(socket_, buffer_.data(), wanted, 0);
    if (got <= 0) return got;
    begin_ = 0;
    end_ = static_cast<std::size_t>(got);
    budget_ -= end_;
  }
  const std::size_t taken = std::min(size, end_ - begin_);
  std::memcpy(bytes, buffer_.data() + begin_, taken);
  begin_ += taken;
  return static_cast<ssize_t>(taken);
}

ssize_t HttpConnection::write(const char* bytes, size_t size) {
  std::size_t sent = 0;
  while (sent < size) {
    if (!waitFor(POLLOUT, Clock::now() + kUnreadTime)) return -1;
    const ssize_t taken = ::send(socket_, bytes + sent, size - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (taken < 0 && errno != EAGAIN && errno != EINTR) return -1;
    sent += static_cast<std::size_t>(std::max<ssize_t>(taken, 0));
  }
  return static_cast<ssize_t>(sent);
}

// Nothing here asks who it is.
void HttpConnection::get_remote_ip_and_port(std::string& ip, int& port) const {
  ip.clear();
  port = 0;
}

void HttpConnection::get_local_ip_and_port(std::string& ip, int& port) const {
  get_remote_ip_and_port(ip, port);
}

void HttpConnection::finish() const {
  ::shutdown(socket_, SHUT_WR);
  drain(socket_, kLingerTime);
}

void HttpConnection::closeGently(socket_t socket, milliseconds patience) {
  ::shutdown(socket, SHUT_WR);
  drain(socket, patience);
  ::close(socket);
}

}  // namespace varno::tool
