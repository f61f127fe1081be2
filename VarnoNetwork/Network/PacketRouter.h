#pragma once

#include <VarnoNetwork/Network/PacketHandleDelegate.h>

#include <concepts>
#include <cstddef>
#include <functional>
#include <memory>
#include <utility>

namespace varno {

// A listener that hands each packet to functions, by its type:
//
//   auto router = std::make_shared<varno::PacketRouter>();
//   network.registerPacketHandleDelegate(router);
//   auto subscription = router->on<varno::WifiStationStatusEventPacket>(
//       [](const varno::WifiStationStatusEventPacket& status) { ... });
//
// The router is registered once, for all types, and stays registered; subscriptions come and go.
//
// Handlers run on the main thread, in the order of their subscriptions, with no lock of the router
// held. (The network holds its listener lock meanwhile, as for every listener.) Inside a handler
// subscriptions may be made and ended at any depth. One that is made while a packet is handed out
// begins with the next packet. A handler that throws follows the network's rule: the rest of the
// handlers and listeners are skipped, and the exception leaves HudNetwork::handleRawPacket.
//
// Subscriptions may be made and ended on every thread.
class VARNO_EXPORT PacketRouter : public PacketHandleDelegate {
 private:
  struct Entry;
  struct State;

 public:
  // Keeps a handler subscribed while it lives. May outlive the router.
  class VARNO_EXPORT Subscription {
   public:
    Subscription() noexcept = default;  // subscribed to nothing
    Subscription(Subscription&& other) noexcept = default;
    Subscription& operator=(Subscription&& other) noexcept;
    ~Subscription() { end(); }

    // From now on no packet selects the handler. A call for which it was already selected goes on:
    // its own call, when a handler ends its subscription; or, when this is called on another
    // thread, a call on the main thread, which may even begin after this has returned. What the
    // handler holds is released after its last call.
    void end() noexcept;

   private:
    friend class PacketRouter;
    Subscription(const std::shared_ptr<State>& state, const std::shared_ptr<Entry>& entry) noexcept
        : state_(state), entry_(entry) {}

    std::weak_ptr<State> state_;
    std::weak_ptr<Entry> entry_;
  };

  PacketRouter();
  ~PacketRouter() override;
  PacketRouter(const PacketRouter&) = delete;
  PacketRouter& operator=(const PacketRouter&) = delete;

  // Calls the handler with every packet of the type or of one derived from it, so that a family
  // base stands for its whole family. As for the next two, a handler that is null or empty throws
  // InvalidArgumentException.
  template <std::derived_from<HudPacket> Packet, std::copy_constructible Handler>
  requires std::invocable<Handler&, const Packet&>
  [[nodiscard]] Subscription on(Handler handler) {
    if constexpr (std::constructible_from<Handler, std::nullptr_t> &&
                  requires { handler == nullptr; }) {
      if (handler == nullptr) throwNoHandler();
    }
    return subscribe(Role::kTyped, isA<Packet>,
                     [handler = std::move(handler)](const HudPacket& packet) mutable {
                       std::invoke(handler, dynamic_cast<const Packet&>(packet));
                     });
  }

  // Calls the handler with every packet. It takes none of them: see onUntaken.
  [[nodiscard]] Subscription onEvery(std::function<void(const HudPacket&)> handler) {
    return subscribe(Role::kEvery, isA<HudPacket>, std::move(handler));
  }

  // Calls the handler, after all others, with each packet for which no `on` handler was called.
  [[nodiscard]] Subscription onUntaken(std::function<void(const HudPacket&)> handler) {
    return subscribe(Role::kUntaken, isA<HudPacket>, std::move(handler));
  }

  void onPacketReceived(const std::shared_ptr<HudPacket>& packet) override;

 private:
  enum class Role { kTyped, kEvery, kUntaken };
  using Matches = bool (*)(const HudPacket& packet);

  template <class Packet>
  static bool isA(const HudPacket& packet) {
    if constexpr (std::same_as<Packet, HudPacket>) {
      return true;
    } else {
      return dynamic_cast<const Packet*>(&packet) != nullptr;
    }
  }

  [[noreturn]] static void throwNoHandler();

  Subscription subscribe(Role role, Matches matches, std::function<void(const HudPacket&)> handler);

  const std::shared_ptr<State> state_;
};

}  // namespace varno
