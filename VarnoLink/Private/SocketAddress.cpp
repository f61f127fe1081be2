#include <VarnoLink/Private/SocketAddress.h>

#include <VarnoLink/Private/LinkFailure.h>

#include <netdb.h>
#include <netinet/in.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>

namespace varno {
namespace {

using AddressInfo = std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)>;

// Null where the error is set.
AddressInfo ask(const std::string& host, std::uint16_t port, int flags, int& error) {
  addrinfo wanted{};
  wanted.ai_flags = flags | AI_NUMERICSERV;
  wanted.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  error = ::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &wanted, &found);
  return AddressInfo(error == 0 ? found : nullptr, &::freeaddrinfo);
}

std::string reasonOfLookup(int error, const std::string& host) {
  switch (error) {
    case EAI_NONAME:
#if defined(EAI_NODATA) && EAI_NODATA != EAI_NONAME
    case EAI_NODATA:
#endif
      return "name not found: " + host;
    case EAI_AGAIN: return "no name service answers, so nobody knows where " + host + " is";
    case EAI_SYSTEM: return reasonOf(errno);
    default: return host + ": " + ::gai_strerror(error);
  }
}

}  // namespace

SocketAddress::SocketAddress(const sockaddr* data, socklen_t size)
    : size_(std::min(size, static_cast<socklen_t>(sizeof storage_))) {
  std::memcpy(&storage_, data, size_);
}

SocketAddress SocketAddress::ofPath(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return SocketAddress(reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

std::optional<SocketAddress> SocketAddress::ofSocket(int descriptor) {
  SocketAddress address;
  auto* const data = reinterpret_cast<sockaddr*>(&address.storage_);
  if (::getsockname(descriptor, data, &address.size_) != 0) return std::nullopt;
  return address;
}

std::optional<SocketAddress> SocketAddress::ofPeer(int descriptor) {
  SocketAddress address;
  auto* const data = reinterpret_cast<sockaddr*>(&address.storage_);
  if (::getpeername(descriptor, data, &address.size_) != 0) return std::nullopt;
  return address;
}

std::uint16_t SocketAddress::port() const {
  const in_port_t port = family() == AF_INET6
                             ? reinterpret_cast<const sockaddr_in6*>(&storage_)->sin6_port
                             : reinterpret_cast<const sockaddr_in*>(&storage_)->sin_port;
  return ntohs(port);
}

bool SocketAddress::operator==(const SocketAddress& other) const {
  return size_ == other.size_ && std::memcmp(&storage_, &other.storage_, size_) == 0;
}

std::optional<SocketAddress> numericAddress(const std::string& host, std::uint16_t port) {
  int error = 0;
  const AddressInfo found = ask(host, port, AI_NUMERICHOST, error);
  if (error == EAI_MEMORY) throw std::bad_alloc();
  if (!found) return std::nullopt;
  return SocketAddress(found->ai_addr, found->ai_addrlen);
}

SocketAddresses lookUp(const std::string& host, std::uint16_t port) {
  int error = 0;
  const AddressInfo found = ask(host, port, AI_ADDRCONFIG, error);
  if (error == EAI_MEMORY) throw std::bad_alloc();
  if (!found) throw LinkFailure(reasonOfLookup(error, host));
  SocketAddresses addresses;
  for (const addrinfo* info = found.get(); info != nullptr; info = info->ai_next) {
    addresses.emplace_back(info->ai_addr, info->ai_addrlen);
  }
  return addresses;
}

}  // namespace varno
