#pragma once

#include <VarnoLink/Clock.h>
#include <VarnoNetwork/VarnoNetwork.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace varno::test {

// An application on a phone that behaves well, by any clock: greets the display, keeps itself
// alive, pairs the first sound device that the display finds, gives the display the Wi-Fi that it
// asks for, updates an old display, and tries again what failed. Scenarios are run against it.
class ReferencePhone : public HudNetwork {
 public:
  using Transport = std::function<bool(std::span<const std::uint8_t> frame)>;

  ReferencePhone(const Clock& clock, Transport transport)
      : clock_(clock), transport_(std::move(transport)) {
    registerPacketHandleDelegate(router_);
    listen();
  }

  bool sendPacketImpl(std::vector<std::uint8_t> frame) override { return transport_(frame); }

  // A frame that is none must not end an application.
  void receive(std::span<const std::uint8_t> frame) {
    try {
      handleRawPacket(frame);
    } catch (const HudException&) {
      ++refusedFrames_;
    }
  }

  void linkUp() {
    SystemTimeCommandPacket time;
    time.setTimeInMillis(clock_.now().time_since_epoch() / std::chrono::milliseconds(1));
    time.setTimeZoneId("Europe/Berlin");
    sendPacket(time);
    sendPacket(VarnoModeCommandPacket());
    keepAlive();
  }

  void linkDown() {
    due_.clear();
    joins_ = 0;
    connects_ = 0;
  }

  void advance() {
    while (!due_.empty() && due_.begin()->first <= clock_.now()) {
      const auto action = due_.extract(due_.begin()).mapped();
      action();
    }
  }
  std::optional<LinkTime> nextDue() const {
    return due_.empty() ? std::nullopt : std::optional(due_.begin()->first);
  }

 private:
  using Seconds = std::chrono::seconds;

  void in(Seconds duration, std::function<void()> action) {
    due_.emplace(clock_.now() + duration, std::move(action));
  }

  void keepAlive() {
    sendPacket(KeepAliveCommandPacket());
    in(Seconds(1), [this] { keepAlive(); });
  }

  void notify(const std::string& title, const std::string& message) {
    SocialNotificationPacket notice;
    notice.setPackageName("org.example.phone");
    notice.setTitle(title);
    notice.setMessage(message);
    sendPacket(notice);
  }

  void join() {
    ++joins_;
    WifiStationModeCommandPacket wifi;
    wifi.setSsid("Garage");
    wifi.setPassword("open sesame");
    sendPacket(wifi);
  }

  void connect() {
    ++connects_;
    BluetoothConnectionCommandPacket connection;
    connection.setAddress(address_);
    connection.setIsConnectionRequired(true);
    sendPacket(connection);
  }

  void listen() {
    on<HudVersionEventPacket>([this](const auto& version) {
      sendPacket(BluetoothEnableCommandPacket());
      if (version.systemVersion() != "1.9") return;
      SoftwareUpdateCommandPacket update;
      update.setSize(4'000'000);
      sendPacket(update);
      updating_ = true;
      in(Seconds(5), [this] {
        if (!std::exchange(updating_, false)) return;
        sendPacket(SoftwareUpdateCancelCommandPacket());
        notify("Update", "The display did not begin");
      });
    });
    on<SoftwareUpdateEventPacket>([this](const auto&) { updating_ = false; });
    on<BluetoothStatusEventPacket>([this](const auto& status) {
      if (status.statusType() != 1) return;
      BluetoothScanCommandPacket scan;
      scan.setEnable(true);
      sendPacket(scan);
      address_.clear();
    });
    on<BluetoothDeviceFoundEventPacket>([this](const auto& found) {
      if (!address_.empty() || !found.soundDevice()) return;
      address_ = found.soundDevice()->address().value_or("");
      BluetoothScanCommandPacket scan;
      scan.setEnable(false);
      sendPacket(scan);
      BluetoothPairingCommandPacket pairing;
      pairing.setPairingType(1);
      pairing.setSoundDeviceAddress(address_);
      pairing.setPairingKey("4711");
      sendPacket(pairing);
    });
    on<BluetoothPairingEventPacket>([this](const auto&) { connect(); });
    on<BluetoothConnectionEventPacket>([this](const auto& connection) {
      if (connection.event() == 1) {
        connects_ = 0;
        notify("Sound", "Connected");
      } else if (connects_ < kMostTries) {
        in(Seconds(2), [this] { connect(); });
      }
    });
    on<WifiStationStatusEventPacket>([this](const auto& status) {
      if (status.eventType() == 1) {
        joins_ = 0;
      } else if (status.eventType() == 0 || joins_ == 0) {
        join();
      } else if (joins_ < kMostTries) {
        in(Seconds(3), [this] { join(); });
      } else {
        notify("Wi-Fi", status.errorMessage().value_or(""));
      }
    });
    on<VarnoAppStartEventPacket>([this](const auto& start) {
      FullScreenCommandPacket fullScreen;
      fullScreen.setIsFullScreen(start.isVarnoAppStart());
      sendPacket(fullScreen);
    });
    on<VarnoAppConnectionEventPacket>([this](const auto& connection) {
      if (!connection.isVarnoAppConnected()) sendPacket(HudDisconnectCommandPacket());
    });
    on<UartConnectionEventPacket>(
        [this](const auto&) { sendPacket(UartConnectionCheckCommandPacket()); });
  }

  template <class Packet, class Handler>
  void on(Handler handler) {
    subscriptions_.push_back(router_->on<Packet>(std::move(handler)));
  }

  static constexpr int kMostTries = 3;

  const Clock& clock_;
  Transport transport_;
  std::shared_ptr<PacketRouter> router_ = std::make_shared<PacketRouter>();
  std::vector<PacketRouter::Subscription> subscriptions_;
  std::multimap<LinkTime, std::function<void()>> due_;
  std::string address_;
  int refusedFrames_ = 0;
  int joins_ = 0;
  int connects_ = 0;
  bool updating_ = false;
};

}  // namespace varno::test
