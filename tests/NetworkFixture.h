#pragma once

#include "TestSupport.h"

#include <VarnoNetwork/Network/Command/KeepAliveCommandPacket.h>
#include <VarnoNetwork/Network/Command/SystemTimeCommandPacket.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace varno::test {

using Lines = std::vector<std::string>;

inline const PacketType kKeepAliveType = PacketType::of<KeepAliveCommandPacket>();
inline const PacketType kTimeType = PacketType::of<SystemTimeCommandPacket>();
inline const Bytes kTime = bytes("02 7D 7F 01 00 00 00 00 00 00 00 00 05 00 01 5A 03");
inline constexpr const char* kKeepAliveText = "KeepAliveCommandPacket[]";
inline constexpr const char* kTimeText = "SystemTimeCommandPacket[timeInMillis : 5 timeZoneId : Z]";

// A network, and listeners that only the network owns once the test lets go of them.
class NetworkFixture : public testing::Test {
 protected:
  std::shared_ptr<RecordingListener> listen(const HudPacketFilter& filter) {
    auto listener = std::make_shared<RecordingListener>();
    network.registerPacketHandleDelegate(listener, &filter);
    return listener;
  }
  std::shared_ptr<RecordingListener> listen() {
    auto listener = std::make_shared<RecordingListener>();
    network.registerPacketHandleDelegate(listener);
    return listener;
  }
  // What both frames give the listener.
  Lines received(RecordingListener& listener) {
    network.handleRawPacket(kKeepAlive);
    network.handleRawPacket(kTime);
    return listener.takeDescriptions();
  }

  MainThreadScope mainThread;
  LogCapture log;
  RecordingNetwork network;
};

}  // namespace varno::test
