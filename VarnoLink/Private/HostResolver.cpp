#include <VarnoLink/Private/HostResolver.h>

#include <asio/post.hpp>

#include <new>
#include <utility>

namespace varno {

void HostResolver::resolve(const std::string& name, std::uint16_t port,
                           std::chrono::nanoseconds timeout, const OnResolved& onResolved) {
  if (const std::optional<SocketAddress> numeric = numericAddress(name, port)) {
    return onResolved({{*numeric}, {}});
  }
  host_.limit(timeout, [this, name, onResolved] {
    cancel();
    onResolved({{}, "no name service answers for " + name});
  });
  asio::io_context& context = host_.loop().context();
  auto onDone = [this, &context, weak = host_.weak_from_this(), epoch = host_.epoch(),
                 onResolved](LookupResult result) {
    try {
      asio::post(context, [this, weak, epoch, onResolved, result = std::move(result)]() mutable {
        const std::shared_ptr<EventHost> host = weak.lock();
        if (!host) return;
        host->runIn(epoch, [&] {
          if (!lookup_) return;  // the time-out came first
          host->stopTimer();
          lookup_.reset();
          onResolved(std::move(result));
        });
      });
    } catch (const std::bad_alloc&) {
      // The time-out tells that nothing came.
    }
  };
  lookup_.emplace(name, port, std::move(onDone));
}

}  // namespace varno
