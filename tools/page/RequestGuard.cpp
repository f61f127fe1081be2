#include "tools/page/RequestGuard.h"

#include "tools/page/HttpServer.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <random>
#include <utility>

namespace varno::tool {
namespace {

bool isAddress(const std::string& host) {
  std::array<unsigned char, sizeof(in6_addr)> ignored{};
  return ::inet_pton(AF_INET, host.c_str(), ignored.data()) == 1 ||
         ::inet_pton(AF_INET6, host.c_str(), ignored.data()) == 1;
}

// Takes as long for a token that is nearly right.
bool isEqual(std::string_view one, std::string_view other) {
  if (one.size() != other.size()) return false;
  unsigned difference = 0;
  for (std::size_t at = 0; at < one.size(); ++at) {
    difference |= static_cast<unsigned>(one[at]) ^ static_cast<unsigned>(other[at]);
  }
  return difference == 0;
}

std::string nameIn(std::string_view host) {
  if (host.starts_with('[')) return std::string(host.substr(1, host.find(']') - 1));
  std::string name(host.substr(0, host.find(':')));
  std::transform(name.begin(), name.end(), name.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return name;
}

}  // namespace

RequestGuard::RequestGuard(const std::string& token, std::string host)
    : root_(std::string(1, '/').append(token) += '/'), host_(std::move(host)) {}

// No site can make a browser send the name of another site: an address is not a name, and cannot be
// made to lead elsewhere. The port is not looked at, so that it may be forwarded.
bool RequestGuard::isOurName(std::string_view host) const {
  const std::string name = nameIn(host);
  return name == "localhost" || name == host_ || isAddress(name);
}

std::optional<Refusal> RequestGuard::refuse(const RequestHead& head) const {
  if (!isOurName(head.host)) {
    return Refusal{421, "This page does not go by the name that it was asked by."};
  }
  if (!isEqual(head.path.substr(0, root_.size()), root_)) {
    return Refusal{403, "The page's address has a secret part: open the one that varno printed."};
  }
  const bool isForeign =
      (!head.origin.empty() && head.origin != std::string("http://").append(head.host)) ||
      head.fetchSite == "cross-site" || head.fetchSite == "same-site";
  if (head.method == "GET" || head.method == "HEAD") {
    // A link elsewhere may lead here, which is a navigation without an origin.
    if (!head.origin.empty() && isForeign) return Refusal{403, "Another site asks for this."};
    return std::nullopt;
  }
  if (head.method != "POST") return Refusal{405, "GET and POST are all that is understood."};
  if (isForeign) return Refusal{403, "Another site asks for this."};
  if (head.contentType != "application/json") {
    return Refusal{415, "A command is application/json."};
  }
  if (!head.hasLength) return Refusal{411, "A command tells its length."};
  if (head.length > HttpServer::kMaxBodyBytes) {
    return Refusal{
        413, "A command has no more than " + std::to_string(HttpServer::kMaxBodyBytes) + " bytes."};
  }
  return std::nullopt;
}

std::string randomToken() {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::random_device random;  // the system's, which cannot be foretold
  std::string token;
  for (int word = 0; word < 4; ++word) {
    unsigned bits = random();
    for (int digit = 0; digit < 8; ++digit, bits >>= 4) token += kDigits[bits & 0xF];
  }
  return token;
}

std::string bracketed(const std::string& host) {
  return host.find(':') == std::string::npos ? host : std::string("[").append(host).append("]");
}

}  // namespace varno::tool
