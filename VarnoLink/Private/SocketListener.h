#pragma once

#include <VarnoLink/Private/HostResolver.h>
#include <VarnoLink/Private/Opener.h>
#include <VarnoLink/Private/UnixListenPath.h>

#include <optional>

namespace varno {

// Listens over TCP or at a Unix socket, and accepts one peer per attempt. The socket goes on
// listening between attempts, so that the port stays taken and peers wait instead of being refused.
class SocketListener final : public Opener {
 public:
  SocketListener(EventHost& host, Owner& owner, const Address& address, const LinkOptions& options);
  ~SocketListener() override;

  void start() override;
  void cancel() noexcept override { resolver_.cancel(); }
  void close() noexcept override;
  bool isListening() const override { return true; }

 private:
  void listenAt(const LookupResult& result);
  void listenAt(const SocketAddress& address);
  void listenAtPath();
  void adopt(Descriptor socket);
  void awaitPeer();
  void accept();

  const Address wanted_;
  Address actual_;
  const LinkOptions& options_;
  HostResolver resolver_;
  std::optional<UnixListenPath> path_;
  std::optional<LoopDescriptor> socket_;
};

}  // namespace varno
