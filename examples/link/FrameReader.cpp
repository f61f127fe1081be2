#include "FrameReader.h"

#include <VarnoNetwork/Network/HudLog.h>
#include <VarnoNetwork/Network/MainThread.h>

#include <unistd.h>

#include <array>
#include <cerrno>
#include <exception>
#include <system_error>
#include <utility>

namespace varno::example {

FrameReader::FrameReader(HudNetwork& network, int descriptor, OnEnd onEnd)
    : network_(network), descriptor_(descriptor), onEnd_(std::move(onEnd)) {}

FrameReader::~FrameReader() { stop(); }

void FrameReader::start() { thread_ = std::thread(&FrameReader::run, this); }

void FrameReader::stop() {
  stop_.wake();
  if (thread_.joinable()) thread_.join();
}

void FrameReader::run() {
  std::optional<std::string> reason;
  try {
    reason = readUntilEnd();
  } catch (const std::exception& exception) {
    reason = exception.what();
  }
  cutter_.reset();
  if (!reason) return;
  try {
    MainThread::instance().runAndWait([&] { onEnd_(*reason); });
  } catch (const MainThreadClosedException&) {
    // The application is shutting down and wants to know nothing more.
  }
}

// The reason why the link ended; none where it is the reading that is to end.
std::optional<std::string> FrameReader::readUntilEnd() {
  std::array<std::uint8_t, 4096> buffer;
  std::array<pollfd, 2> polled{{{descriptor_, POLLIN, 0}, {stop_.descriptor(), POLLIN, 0}}};
  for (;;) {
    pollUntil(polled, std::nullopt);
    if (polled[1].revents != 0) return std::nullopt;
    const ssize_t count = ::read(descriptor_, buffer.data(), buffer.size());
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    // A terminal whose other side is gone fails with EIO where a socket reads nothing.
    if (count == 0 || (count < 0 && errno == EIO)) return "the other side hung up";
    if (count < 0) return std::generic_category().message(errno);
    std::span<const std::uint8_t> bytes(buffer.data(), static_cast<std::size_t>(count));
    while (const auto frame = cutter_.next(bytes)) {
      if (!deliver(*frame)) return std::nullopt;
    }
  }
}

// False when the main thread takes no more packets. Whatever else goes wrong with one frame must
// not end the link.
bool FrameReader::deliver(std::span<const std::uint8_t> frame) {
  std::string reason = "unknown exception";
  try {
    network_.handleRawPacket(frame);
    return true;
  } catch (const MainThreadClosedException&) {
    return false;
  } catch (const std::exception& exception) {
    reason = exception.what();
  } catch (...) {
  }
  ++failedFrames_;
  HudLog::write("handleRawPacket failed: " + reason);
  return true;
}

}  // namespace varno::example
