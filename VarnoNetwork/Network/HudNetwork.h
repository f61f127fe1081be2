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
// handles a frame holds it while it waits for the main thread. If the main thread then asks for it,
// both wait for ever. It is asked for by registerPacketHandleDelegate,
// unregisterPacketHandleDelegate, firePacketReceivedEvent and, for a packet of a known type, by
// handleRawPacket; by nothing else. So register and unregister before the receiving threads start
// or after they ended, or else handle all frames on the main thread too; never register or
// unregister inside a listener.
class VARNO_EXPORT HudNetwork : public IHudNetworkImpl {
 public:
  using PacketIdToClassMap = std::map<std::int32_t, PacketType>;
  using ListenerSet = std::set<std::shared_ptr<PacketHandleDelegate>>;
  using PacketListenerMap = std::map<PacketType, ListenerSet>;

  // Takes over every packet type of the PacketCatalogue, for the network's life: a plug-in that
  // brought one must stay loaded as long. A type whose construction or identifiers fail is left
  // out (see leftOutTypes). Throws
  //   InternalInconsistencyException  two types have one id, for example with the reason
  //       "Duplicated command[2] param1[15] param2[0] KeepAliveCommandPacket and
  //       OtherCommandPacket"; or two classes of one name, in anonymous namespaces, say, cannot be
  //       told apart
  //   std::bad_alloc                  out of memory: no network is made that lacks types
  HudNetwork();

  // Releases the listeners that are still registered. Their destructors may use the network, but
  // register nothing any more. No other thread may be inside the network.
  ~HudNetwork() override;

  HudNetwork(const HudNetwork&) = delete;
  HudNetwork& operator=(const HudNetwork&) = delete;

  // The packet id: (command << 16) + (parma1 << 8) | param2.
  static std::int32_t getPacktId(std::uint8_t command, std::uint8_t parma1,
                                 std::uint8_t param2) noexcept;

  // Frames the packet and hands the frame to sendPacketImpl, whose result it returns, unless
  // sendBorrowedFrame is overridden and has given an answer before: then that. False as well
  // when anything on the way throws; the log then has one line "sendPacket got exception : " with
  // the reason. Takes no lock.
  bool sendPacket(const HudPacket& packet) noexcept;

  // The transport. This one throws InternalInconsistencyException, "Not yet implemented".
  bool sendPacketImpl(std::vector<std::uint8_t> frame) override;

  // Checks and parses one whole frame, marks included, and delivers the packet to the listeners of
  // its type; returns after the last of them. A frame with an unknown id or an unusable payload is
  // dropped silently: see setDropObserver. Whether a packet is meant for this direction is not
  // asked. The frame is not copied: it must not change until this returns. Throws
  //   InvalidArgumentException    fewer than 5 bytes, or not between STX and ETX
  //   IndexOutOfBoundsException   the frame ends inside its three identifiers
  //   MainThreadClosedException   the main thread takes no more tasks
  //   WaitCanceledException       the waits of this thread were canceled
  //   CollectionMutatedException  the listeners of the packet's type were changed meanwhile: by a
  //                               listener, or by setPacketListenerMap on any thread
  //   std::bad_alloc              out of memory
  // and what the application's code throws: a listener, whichever thread it ran on, and the
  // constructor and parsePayload of a packet type of its own.
  void handleRawPacket(std::span<const std::uint8_t> frame);

  // Adds the listener for every packet type. The network shares in its ownership until it is
  // unregistered. Registering it again adds nothing: it receives each packet once. Adding it for a
  // type may throw std::bad_alloc; it is then registered for none. Null is ignored.
  void registerPacketHandleDelegate(std::shared_ptr<PacketHandleDelegate> listener);

  // Adds the listener for the packet types that the filter accepts now. Without a filter (null)
  // that is none. The filter is not kept.
  void registerPacketHandleDelegate(std::shared_ptr<PacketHandleDelegate> listener,
                                    const HudPacketFilter* filter);

  // Removes the listener from every packet type. On another thread than the main thread it waits
  // for a delivery that is under way; after it has returned, no call of the listener begins.
  void unregisterPacketHandleDelegate(std::shared_ptr<PacketHandleDelegate> listener);

  // Delivers a packet to the listeners of a type, as handleRawPacket does, with what that throws
  // from there on. The packet lives until this returns, whatever becomes of the caller's pointer. A
  // null packet is ignored.
  void firePacketReceivedEvent(PacketType type, const std::shared_ptr<HudPacket>& hudPacket);

  // Sets who is told of what this network drops silently: of each frame, on the thread that handles
  // it, with no lock held; and of the types that were left out, on the calling thread, before this
  // returns. Null ends it; a call under way on another thread still uses the one before. What the
  // observer throws leaves handleRawPacket, or this function, which then changes nothing; the frame
  // stays counted as dropped.
  void setDropObserver(DropObserver observer);

  // The packet types that this network was made without, with the reason in `cause`.
  const std::vector<PacketDrop>& leftOutTypes() const noexcept;

  // What has been done so far. At any time, on any thread, without a lock: each number is exact,
  // but while other threads work they are not of one moment.
  HudNetworkCounters counters() const noexcept;

  // Whether every frame sent, or received, goes to the log as a hex dump. Both are off at first.
  void setDumpPacket(bool dumpSendPacket, bool dumpReceivePacket) noexcept;
  bool dumpSendPacket() const noexcept;
  void setDumpSendPacket(bool dumpSendPacket) noexcept;
  bool dumpReceivePacket() const noexcept;
  void setDumpReceivePacket(bool dumpReceivePacket) noexcept;

  // The packet types by id, and the listeners by packet type. A type stands in the second from its
  // first registration on, with an empty set where nobody is left; a null listener is ignored.
  //
  // Both may be read and replaced at any time on any thread, in a listener too: none of this waits
  // for a delivery. Replaced packet types are kept until the network goes, since another thread may
  // be reading them. Once listeners have been replaced, a delivery under way on another thread
  // calls at most one more of the old ones, then ends with CollectionMutatedException, and releases
  // them.
  PacketIdToClassMap packetIdToClassMap() const;
  void setPacketIdToClassMap(const PacketIdToClassMap& map);
  PacketListenerMap packetListenerMap() const;
  void setPacketListenerMap(const PacketListenerMap& map);

 private:
  struct State;

  void extractHudPacketClass();

  const std::unique_ptr<State> state_;
};

}  // namespace varno
