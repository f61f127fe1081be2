#pragma once

#include "TestSupport.h"

#include <VarnoNetwork/Network/Command/SystemTimeCommandPacket.h>

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <string>

namespace varno::test {

inline Bytes frameAt(std::int64_t time) {
  SystemTimeCommandPacket packet;
  packet.setTimeInMillis(time);
  return frameOf(packet);
}

// A background thread whose action's exception is its result.
template <class Action>
std::future<std::string> startThread(Action action) {
  return std::async(std::launch::async, [action = std::move(action)] { return thrownBy(action); });
}

// The main thread, and a network with a listener.
class MainThreadFixture : public testing::Test {
 protected:
  MainThreadFixture() { network.registerPacketHandleDelegate(listener); }

  std::future<std::string> startFrame(HudNetwork& receiver) {
    return startThread([&receiver, this] { receiver.handleRawPacket(frame); });
  }

  MainThreadScope mainThread;
  CountingQueue& queue = mainThread.queue();
  RecordingNetwork network;
  const std::shared_ptr<RecordingListener> listener = std::make_shared<RecordingListener>();
  const Bytes frame = frameAt(1);
};

}  // namespace varno::test
