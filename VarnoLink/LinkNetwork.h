#pragma once

#include <VarnoLink/Address.h>
#include <VarnoLink/FaultStage.h>
#include <VarnoLink/FrameInbox.h>
#include <VarnoLink/LinkOptions.h>
#include <VarnoLink/TrafficObserver.h>
#include <VarnoNetwork/Export.h>
#include <VarnoNetwork/Network/HudNetwork.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace varno {

class NetworkLink;

// How a network's link works, and what it tells.
struct LinkNetworkOptions {
  // How the link connects and comes back. Its limits of what waits to be written are not used, but
  // maxSendFrames and maxSendBytes.
  LinkOptions link = {};

  // Told on the main thread each time that the state changes, between the packets that came before
  // and those that came after. May do what a listener may: send, stop the network, destroy it.
  // Where more than 100 changes wait for the main thread, only the last of those is told.
  std::function<void(const LinkStatus& status)> onStatus = {};

  // What may wait to be given to the system; of frames that tell what became of them, as many more
  // may wait for the main thread to be told it.
  std::size_t maxSendFrames = 10'000;
  std::size_t maxSendBytes = std::size_t{4} << 20;

  // What may wait for the main thread. Then the link stops reading, which holds up the peer.
  std::size_t maxReceiveFrames = 100'000;
  std::size_t maxReceiveBytes = std::size_t{4} << 20;
  std::size_t maxFrameBytes = FrameCutter::kDefaultMaxFrameBytes;  // of the longest frame received

  // Sees what passes, on the link's thread: a CaptureRecorder, for example.
  std::shared_ptr<TrafficObserver> observer = {};

  // Which way goes what is sent. An application that plays the display says kToPhone.
  Direction sends = Direction::kToDisplay;

  std::uint64_t faultSeed = 1;
};

// Of all connections together.
struct LinkNetworkCounters {
  std::uint64_t connections = 0;
  std::uint64_t sentFrames = 0;  // given to the system
  std::uint64_t lostFrames = 0;  // that waited when a connection ended
  std::uint64_t receivedBytes = 0;
  FrameInboxCounters received;
};

// A network with its transport: a link to an address, which connects, receives and comes back by
// itself, on a thread of its own.
//
//   varno::LinkNetwork network(varno::Address::parse("tcp://192.168.43.1:4711"));
//   network.registerPacketHandleDelegate(router);
//   network.start();
//   network.sendPacket(varno::KeepAliveCommandPacket());
//   varno::MainThreadQueue::standard().run();
//
// Packets reach their listeners on the main thread, as a FrameInbox says: no thread waits for it,
// listeners may register and unregister, and what one throws leaves the main thread's run().
//
// Sending waits for nothing: sendPacket returns false when the link is not up or too much waits
// already. True promises no arrival: what waits when the connection ends is lost. So send what the
// display has to know again whenever the link comes up. A connection that ends also gives up the
// frame that had just begun to arrive.
//
// Memory that runs out on the link's thread ends the connection, for that reason.
class VARNO_EXPORT LinkNetwork : public HudNetwork {
 public:
  // Told on the main thread: whether the frame has been given to the system, or was lost since the
  // connection ended.
  using OnGiven = std::function<void(bool isGiven)>;

  // Nothing happens before start(). Throws InvalidArgumentException for limits that no frame
  // received would ever pass, and std::system_error where the system has no descriptors left.
  explicit LinkNetwork(const Address& address, LinkNetworkOptions options = {});

  // Over what the caller has opened and connected: a socket, a terminal. When it has ended, the
  // link stays down. descriptor: owned by the network from here on, also if this throws.
  explicit LinkNetwork(int descriptor, LinkNetworkOptions options = {});

  // Stops. A class that derives from this one calls stop() in its own destructor, so that no
  // listener finds it half destroyed.
  ~LinkNetwork() override;

  // Starts the link's thread, once. Throws std::system_error where the system has no thread left;
  // InternalInconsistencyException for a network that was started or stopped before.
  void start();

  // Hangs up and ends the thread, for good; what waits to be sent or received is dropped. From then
  // on the network calls nothing of the application's. On any thread, inside a listener too.
  // Returns within 100 ms whatever the peer and the main thread do: a listener that runs on another
  // thread all that time, or an observer, runs on to its end, and a serial line still gets what its
  // driver has.
  void stop() noexcept;

  // Waits until what was sent before has been given to the system. False when the time passed
  // first, or something was lost. On any thread; the main thread runs no listener meanwhile.
  bool flush(std::chrono::milliseconds timeout);

  using HudNetwork::sendPacket;

  // Sends as HudNetwork::sendPacket does, and tells what became of the frame; unless this returns
  // false, or the network is stopped before.
  bool sendPacket(const HudPacket& packet, OnGiven onGiven) noexcept;

  // On any thread, as all that follows. The address is the one that the link really has: with the
  // port that was taken.
  LinkStatus status() const;
  LinkNetworkCounters linkCounters() const;

  // Faults put into what goes in one direction, for tests: see FaultStage. They act from the next
  // frame on. addFault throws InvalidArgumentException for a fault with a faultProblem.
  std::uint64_t addFault(Direction direction, const Fault& fault);
  bool removeFault(Direction direction, std::uint64_t id);
  void clearFaults();
  std::vector<FaultStage::Entry> faults(Direction direction) const;

  // The transport.
  std::optional<bool> sendBorrowedFrame(std::span<const std::uint8_t> frame) override;
  bool sendPacketImpl(std::vector<std::uint8_t> frame) override;

 private:
  const std::shared_ptr<NetworkLink> link_;
};

}  // namespace varno
