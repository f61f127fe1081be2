#include "FrameReader.h"

#include <VarnoNetwork/Network/MainThread.h>

#include <utility>

namespace varno::example {

FrameReader::FrameReader(HudNetwork& network, int descriptor, OnEnd onEnd)
    : descriptor_(descriptor), onEnd_(std::move(onEnd)), receiver_(network, stop_) {}

FrameReader::~FrameReader() { stop(); }

void FrameReader::start() { thread_ = std::thread(&FrameReader::run, this); }

void FrameReader::stop() {
  stop_.wake();
  if (thread_.joinable()) thread_.join();
}

void FrameReader::run() {
  try {
    const std::optional<std::string> reason = receiver_.receive(descriptor_);
    if (!reason) return;
    runOrLog("OnEnd", [&] { MainThread::instance().runAndWait([&] { onEnd_(*reason); }); });
  } catch (const MainThreadClosedException&) {
    // The application is shutting down and wants to know nothing more.
  }
}

}  // namespace varno::example
