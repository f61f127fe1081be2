#include "FrameReceiver.h"

#include <VarnoNetwork/Network/HudException.h>
#include <VarnoNetwork/Network/HudLog.h>

#include <unistd.h>

#include <array>
#include <cerrno>
#include <exception>
#include <span>
#include <system_error>

namespace varno::example {

std::optional<std::string> FrameReceiver::receive(int descriptor) {
  const struct Finish {
    FrameCutter& cutter;
    ~Finish() { cutter.finish(); }
  } finishAtTheEnd{cutter_};
  try {
    return readUntilEnd(descriptor);
  } catch (const MainThreadClosedException&) {
    throw;
  } catch (const std::exception& exception) {
    return exception.what();
  }
}

std::optional<std::string> FrameReceiver::readUntilEnd(int descriptor) {
  std::array<std::uint8_t, 4096> buffer;
  std::array<pollfd, 2> polled{{{descriptor, POLLIN, 0}, {stop_.descriptor(), POLLIN, 0}}};
  for (;;) {
    pollUntil(polled, std::nullopt);
    if (polled[1].revents != 0) return std::nullopt;
    const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    // A terminal whose other side is gone fails with EIO where a socket reads nothing.
    if (count == 0 || (count < 0 && errno == EIO)) return "the other side hung up";
    if (count < 0) return std::generic_category().message(errno);
    const std::span<const std::uint8_t> bytes(buffer.data(), static_cast<std::size_t>(count));
    cutter_.feed(bytes, [&](const FrameCutter::Piece& piece) {
      if (piece.kind != RecordKind::kFrame) return;
      if (!runOrLog("handleRawPacket", [&] { network_.handleRawPacket(piece.bytes); })) {
        ++failedFrames_;
      }
    });
  }
}

bool runOrLog(std::string_view what, const std::function<void()>& action) {
  std::string reason = "unknown exception";
  try {
    action();
    return true;
  } catch (const MainThreadClosedException&) {
    throw;
  } catch (const std::exception& exception) {
    reason = exception.what();
  } catch (...) {
  }
  HudLog::write(std::string(what) + " failed: " + reason);
  return false;
}

}  // namespace varno::example
