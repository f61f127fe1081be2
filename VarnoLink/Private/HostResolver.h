#pragma once

#include <VarnoLink/Private/EventHost.h>
#include <VarnoLink/Private/NameLookup.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace varno {

// Finds what a host means without waiting for it.
class HostResolver {
 public:
  // Called inside an action of the host.
  using OnResolved = std::function<void(LookupResult result)>;

  explicit HostResolver(EventHost& host) : host_(host) {}

  // Inside an action: calls onResolved(result), at once for a numeric address, unless the epoch
  // ends before. Throws std::system_error and std::bad_alloc.
  void resolve(const std::string& name, std::uint16_t port, std::chrono::nanoseconds timeout,
               const OnResolved& onResolved);

  void cancel() noexcept { lookup_.reset(); }

 private:
  EventHost& host_;
  std::optional<NameLookup> lookup_;
};

}  // namespace varno
