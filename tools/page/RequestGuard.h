#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace varno::tool {

// What of a request says who asks.
struct RequestHead {
  std::string_view method;
  std::string_view path;
  std::string host;  // header fields; empty where there is none
  std::string origin;
  std::string fetchSite;  // Sec-Fetch-Site
  std::string contentType;
  bool hasLength = false;  // Content-Length, and nothing but it
  std::size_t length = 0;
};

struct Refusal {
  int status;
  std::string reason;  // for people
};

// Keeps out whoever was not given the page's address: programs that do not know the token, other
// sites in the same browser, and names that were made to lead to this machine.
class RequestGuard {
 public:
  // host: what the page listens on, which is a name that it may be asked by.
  RequestGuard(const std::string& token, std::string host);

  // The token as a path, "/TOKEN/".
  const std::string& root() const { return root_; }

  // None for a request that is to be answered.
  std::optional<Refusal> refuse(const RequestHead& head) const;

 private:
  bool isOurName(std::string_view host) const;

  std::string root_;
  std::string host_;
};

// 128 random bits, as hex.
std::string randomToken();

// A host in an address: in brackets where it is of IPv6.
std::string bracketed(const std::string& host);

}  // namespace varno::tool
