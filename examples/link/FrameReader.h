#pragma once

#include "FrameReceiver.h"

#include <thread>

namespace varno::example {

// A receiving thread over one descriptor: a serial device, a socket that is connected.
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
  const FrameCutter::Counts& counts() const { return receiver_.counts(); }

  // Frames that handleRawPacket refused, or during which a listener threw. After stop().
  std::uint64_t failedFrames() const { return receiver_.failedFrames(); }

 private:
  void run();

  const int descriptor_;
  const OnEnd onEnd_;
  WakePipe stop_;
  FrameReceiver receiver_;
  std::thread thread_;
};

}  // namespace varno::example
