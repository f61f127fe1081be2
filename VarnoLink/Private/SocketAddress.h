#pragma once

#include <VarnoLink/Address.h>

#include <sys/socket.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace varno {

// Where a socket is, as the system takes it.
class SocketAddress {
 public:
  // The address that `data` points to.
  SocketAddress(const sockaddr* data, socklen_t size);

  // path: as Address checks it.
  static SocketAddress ofPath(const std::string& path);

  // Those of the socket itself, and of its peer; none where it has none.
  static std::optional<SocketAddress> ofSocket(int descriptor);
  static std::optional<SocketAddress> ofPeer(int descriptor);

  const sockaddr* data() const { return reinterpret_cast<const sockaddr*>(&storage_); }
  socklen_t size() const { return size_; }
  int family() const { return storage_.ss_family; }
  std::uint16_t port() const;  // of the internet's families

  bool operator==(const SocketAddress& other) const;

 private:
  SocketAddress() = default;

  sockaddr_storage storage_{};
  socklen_t size_ = sizeof storage_;
};

// What a host and port mean, in the order in which it is to be tried.
using SocketAddresses = std::vector<SocketAddress>;

// The address that a numeric host is; none where it is a name.
std::optional<SocketAddress> numericAddress(const std::string& host, std::uint16_t port);

// Asks the system what the name stands for, which may wait for seconds. Throws LinkFailure.
SocketAddresses lookUp(const std::string& host, std::uint16_t port);

}  // namespace varno
