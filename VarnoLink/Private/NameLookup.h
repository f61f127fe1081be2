#pragma once

#include <VarnoLink/Private/SocketAddress.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace varno {

// What a lookup found; where that is nothing, why.
struct LookupResult {
  SocketAddresses addresses;
  std::string reason;
};

// Looks up a name on a thread of its own, which nobody waits for: the system cannot be told to stop
// asking. At most four such threads run in the process; who comes later waits for one of them.
class NameLookup {
 public:
  // Called on the lookup's thread, with the result; does not wait and throws nothing.
  using OnDone = std::function<void(LookupResult result)>;

  // Throws std::system_error where there is no thread to be had, and std::bad_alloc.
  NameLookup(std::string host, std::uint16_t port, OnDone onDone);

  // Once it has returned, onDone is not running and will not be called.
  ~NameLookup();

  NameLookup(const NameLookup&) = delete;
  NameLookup& operator=(const NameLookup&) = delete;

 private:
  struct Request;
  class Pool;

  const std::shared_ptr<Request> request_;
};

}  // namespace varno
