#pragma once

#include <VarnoNetwork/Network/HudException.h>
#include <VarnoNetwork/Network/HudNetworkCounters.h>
#include <VarnoNetwork/Network/HudPacketFilter.h>
#include <VarnoNetwork/Network/IHudNetworkImpl.h>
#include <VarnoNetwork/Network/PacketDrop.h>
#include <VarnoNetwork/Network/PacketHandleDelegate.h>
#include <VarnoNetwork/Network/PacketType.h>

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <vector>

namespace varno {

// The object through which an application talks to the display. The application derives from it,
// overrides sendPacketImpl with its transport, and constructs it once; it cuts the bytes that it
// receives into frames and gives each to handleRawPacket.
//
// Threads. sendPacket, handleRawPacket and the dump switches may be used on any thread, at the same
// time. Every listener is called on the main thread (MainThread::instance()); a frame handled on
// another thread waits there until the main thread has run each of its listeners, so the main
// thread must run its queue.
//
// The one hazard. Registration, removal and delivery share the listener lock, and a thread that
// handles a frame holds it while it waits for the main thread. If the main thread then takes the
// lock, both wait for ever. The lock is taken by registerPacketHandleDelegate,
// unregisterPacketHandleDelegate, firePacketReceivedEvent and, for a packet of a known type,
// handleRawPacket; by nothing else. So register and unregister while no receiving thread runs, or
// handle all frames on the main thread, too. Never register or unregister inside a listener, unless
// frames come by a MainThreadDelivery, as all links use it.
class VARNO_EXPORT HudNetwork : public IHudNetworkImpl {
 public:
  using PacketIdToClassMap = std::map<std::int32_t, PacketType>;
  using ListenerSet = std::set<std::shared_ptr<PacketHandleDelegate>>;
  using PacketListenerMap = std::map<PacketType, ListenerSet>;

  // Takes the packet types of the PacketCatalogue and keeps them for its own lifetime: a plug-in
  // that defines one must stay loaded as long. A type whose constructor or identifiers throw is
  // left out (see leftOutTypes). Throws
  //   InternalInconsistencyException  two types have one id, for example with the reason
  //       "Duplicated command[2] param1[15] param2[0] KeepAliveCommandPacket and
  //       OtherCommandPacket"; or two classes of one name, in anonymous namespaces, say, cannot be
  //       told apart
  //   std::bad_alloc                  out of memory
  HudNetwork();

  // Releases the listeners that are still registered. Their destructors may call the network, but
  // registering has no effect any more. No other thread may be using the network.
  ~HudNetwork() override;

  HudNetwork(const HudNetwork&) = delete;
  HudNetwork& operator=(const HudNetwork&) = delete;

  // The packet id: (command << 16) + (parma1 << 8) | param2.
  static std::int32_t getPacktId(std::uint8_t command, std::uint8_t parma1,
                                 std::uint8_t param2) noexcept;

  // Frames the packet, hands the frame to the transport and returns its result: that of
  // sendBorrowedFrame if it gives one, otherwise that of sendPacketImpl. Returns false, too, when
  // anything on the way throws; the log then gets one line "sendPacket got exception : " with the
  // reason. Takes no lock.
  bool sendPacket(const HudPacket& packet) noexcept;

  // The transport. The default throws InternalInconsistencyException, "Not yet implemented".
  bool sendPacketImpl(std::vector<std::uint8_t> frame) override;

  // Checks and parses one whole frame, marks included, and delivers the packet to the listeners of
  // its type; returns after the last of them. A frame with an unknown id or an unusable payload is
  // dropped silently: see setDropObserver. The direction of a packet is not checked. The frame is
  // not copied: it must not change until this returns. Throws
  //   InvalidArgumentException    fewer than 5 bytes, or not between STX and ETX
  //   IndexOutOfBoundsException   the frame ends inside its three identifiers
  //   MainThreadClosedException   the main thread takes no more tasks
  //   WaitCanceledException       the waits of this thread were canceled
  //   CollectionMutatedException  the listeners of the packet's type were changed meanwhile: by a
  //                               listener, or by setPacketListenerMap on any thread
  //   std::bad_alloc              out of memory
  // and what the application's code throws: a listener, whichever thread it ran on, the drop
  // observer, and the constructor and parsePayload of its own packet types.
  void handleRawPacket(std::span<const std::uint8_t> frame);

  // Adds the listener for every packet type. The network shares its ownership until it is
  // unregistered. A listener that is registered again still receives each packet once. Throws
  // std::bad_alloc, and then adds it for no type. Null is ignored.
  void registerPacketHandleDelegate(std::shared_ptr<PacketHandleDelegate> listener);

  // Adds the listener for the packet types that the filter accepts now; a null filter accepts none.
  // The filter is not kept.
  void registerPacketHandleDelegate(std::shared_ptr<PacketHandleDelegate> listener,
                                    const HudPacketFilter* filter);

  // Removes the listener from every packet type. On a thread other than the main thread it first
  // waits for a delivery in progress. After it has returned, no call of the listener begins.
  void unregisterPacketHandleDelegate(std::shared_ptr<PacketHandleDelegate> listener);

  // Delivers a packet to the listeners of a type, as handleRawPacket does after parsing, and throws
  // what delivery throws there. The packet lives until this returns, even if a listener resets the
  // caller's pointer. A null packet is ignored.
  void firePacketReceivedEvent(PacketType type, const std::shared_ptr<HudPacket>& hudPacket);

  // Sets the observer of what this network drops silently. It is called for each dropped frame, on
  // the thread that handles the frame, with no lock held; and by this function, on the calling
  // thread, for each type that was left out. Null removes the observer. A call in progress on
  // another thread still uses the previous one. What the observer throws leaves handleRawPacket
  // (the frame still counts as dropped) or this function (the previous observer then stays).
  void setDropObserver(DropObserver observer);

  // The packet types that were left out when this network was constructed; `cause` tells why.
  const std::vector<PacketDrop>& leftOutTypes() const noexcept;

  // What the network has done so far. May be called at any time on any thread; takes no lock. Each
  // number is exact, but while other threads work the numbers are not of one moment.
  HudNetworkCounters counters() const noexcept;

  // Whether every frame sent, or received, goes to the log as a hex dump. Both are off at first.
  void setDumpPacket(bool dumpSendPacket, bool dumpReceivePacket) noexcept;
  bool dumpSendPacket() const noexcept;
  void setDumpSendPacket(bool dumpSendPacket) noexcept;
  bool dumpReceivePacket() const noexcept;
  void setDumpReceivePacket(bool dumpReceivePacket) noexcept;

  // The packet types by id, and the listeners by packet type. A type is in the second map from its
  // first registration on, with an empty set once no listener is left. A null listener is ignored.
  //
  // Both may be read and replaced at any time on any thread, also inside a listener: no call waits
  // for a delivery. Replaced packet types are kept until the network is destroyed, since another
  // thread may be reading them. After the listeners were replaced, a delivery in progress on
  // another thread calls at most one more of the old ones, then throws CollectionMutatedException
  // and releases them.
  PacketIdToClassMap packetIdToClassMap() const;
  void setPacketIdToClassMap(const PacketIdToClassMap& map);
  PacketListenerMap packetListenerMap() const;
  void setPacketListenerMap(const PacketListenerMap& map);

 private:
  friend class MainThreadDelivery;
  struct State;

  void extractHudPacketClass();

  const std::shared_ptr<State> state_;
};

}  // namespace varno
