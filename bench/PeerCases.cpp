#include <VarnoNetwork/VarnoNetwork.h>
#include <bench/PeerCases.h>
#include <bench/PeerCodec.h>
#include <bench/Transport.h>
#include <benchmark/benchmark.h>

namespace varno::bench {
namespace {

// Calls the action with the peer's message of the packet's content.
template <class Action>
Loop withMessage(const HudPacket& packet, Action action) {
  if (const auto* time = dynamic_cast<const SystemTimeCommandPacket*>(&packet)) {
    peer::SystemTime message;
    message.timeInMillis = time->timeInMillis();
    message.timeZoneId = time->timeZoneId().value();
    return action(message);
  }
  if (const auto* notification = dynamic_cast<const NotificationPacket*>(&packet)) {
    peer::Notification message;
    message.packageName = notification->packageName().value();
    message.title = notification->title().value();
    message.message = notification->message().value();
    return action(message);
  }
  require(packet.typeName() == KeepAliveCommandPacket::kTypeName, "the peer's message");
  return action(peer::KeepAlive());
}

class DroppingPeerListener : public peer::Listener {
 public:
  void onMessage(const std::shared_ptr<peer::Message>& message) override {
    benchmark::DoNotOptimize(message.get());
  }
};

// Keeps the frame of what it receives, to compare.
template <class Type>
class ReframingListener : public peer::Listener {
 public:
  void onMessage(const std::shared_ptr<peer::Message>& message) override {
    frame = peer::frameOf(dynamic_cast<const Type&>(*message));
  }
  Bytes frame;
};

}  // namespace

Loop sendingPeer(const HudPacket& packet) {
  return withMessage(packet, [](const auto& message) {
    return repeat([message, transport = std::shared_ptr(makeTransport())] {
      transport->sendPacketImpl(peer::frameOf(message));
    });
  });
}

Loop receivingPeer(const HudPacket& packet) {
  return withMessage(packet, []<class Type>(const Type& message) {
    const Bytes frame = peer::frameOf(message);
    const auto check = std::make_shared<ReframingListener<Type>>();
    require(peer::Receiver(check).handle(frame) && check->frame == frame, "the peer");
    const auto receiver =
        std::make_shared<peer::Receiver>(std::make_shared<DroppingPeerListener>());
    return repeat([receiver, frame] { receiver->handle(frame); });
  });
}

}  // namespace varno::bench
