#pragma once

#include "FrameCutter.h"
#include "WakePipe.h"

#include <VarnoNetwork/Network/HudNetwork.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <thread>

namespace varno::example {

// A receiving thread: reads a descriptor (a serial device, a socket), cuts what comes into frames
// and gives each to a network.
class FrameReader {
 public:
  // Told on the main thread when the link has ended, with the reason. It must not call stop(),
  // which would wait for it.
  using OnEnd = std::function<void(const std::string& reason)>;

  // network, descriptor: not owned; outlive the reader. Nothing is read before start().
  FrameReader(HudNetwork& network, int descriptor, OnEnd onEnd);

  // Stops.
  ~FrameReader();

  FrameReader(const FrameReader&) = delete;
  FrameReader& operator=(const FrameReader&) = delete;

  // Starts the thread, once; after the listeners have been registered.
  void start();

  // Ends the thread and waits for it; without a call of OnEnd. The thread may just be waiting for
  // the main thread to run a listener, so on the main thread quit the queue first:
  //
  //   varno::MainThreadQueue::standard().quit();
  //   reader.stop();
  //
  // After OnEnd has returned, nothing is waited for and the queue may go on.
  void stop();

  // What was read. After stop().
  const FrameCutter::Counts& counts() const { return cutter_.counts(); }

  // Frames that handleRawPacket refused, or during which a listener threw. After stop().
  std::uint64_t failedFrames() const { return failedFrames_; }

 private:
  void run();
  std::optional<std::string> readUntilEnd();
  bool deliver(std::span<const std::uint8_t> frame);

  HudNetwork& network_;
  const int descriptor_;
  const OnEnd onEnd_;
  WakePipe stop_;
  FrameCutter cutter_;
  std::uint64_t failedFrames_ = 0;
  std::thread thread_;
};

}  // namespace varno::example
