#pragma once

#include <VarnoNetwork/Network/HudNetwork.h>

#include <cstdint>
#include <memory>
#include <span>

namespace varno {

// Hands a network the frames of a link that queues them for the main thread, so that no receiving
// thread ever waits. It may outlive the network, whose frames are ignored from then on.
class VARNO_EXPORT MainThreadDelivery {
 public:
  explicit MainThreadDelivery(const HudNetwork& network);
  ~MainThreadDelivery();
  MainThreadDelivery(const MainThreadDelivery&) = delete;
  MainThreadDelivery& operator=(const MainThreadDelivery&) = delete;

  // On the main thread: handles one whole frame as HudNetwork::handleRawPacket does there, but
  // - Listeners may register and unregister inside their call, and may destroy the network and this
  //   object. One that is removed is not called any more, one that is added begins with the next
  //   packet.
  // - A malformed frame, for which that function throws, is counted and returns false.
  // Throws what the application's code throws, and std::bad_alloc; on other threads
  // InternalInconsistencyException.
  bool handle(std::span<const std::uint8_t> frame);

  // From now on frames are ignored, and no call of a listener begins: not even of one whose packet
  // is just being delivered to others. On any thread.
  void close() noexcept;

 private:
  struct State;

  const std::shared_ptr<State> state_;
};

}  // namespace varno
