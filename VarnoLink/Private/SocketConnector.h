#pragma once

#include <VarnoLink/Private/HostResolver.h>
#include <VarnoLink/Private/Opener.h>

#include <cstddef>
#include <optional>
#include <string>

namespace varno {

// Connects over TCP, to the first address of a name that answers, or to a Unix socket.
class SocketConnector final : public Opener {
 public:
  SocketConnector(EventHost& host, Owner& owner, Address address, const LinkOptions& options);

  void start() override;
  void cancel() noexcept override;

 private:
  void onResolved(LookupResult result);
  void tryNext();
  void onAnswer();
  void giveUp(std::string reason);
  void succeed(Descriptor connection);
  std::string explained(int error) const;

  const Address address_;
  const LinkOptions& options_;
  HostResolver resolver_;
  SocketAddresses candidates_;
  std::size_t next_ = 0;  // of the candidates
  std::optional<LoopDescriptor> socket_;
};

}  // namespace varno
