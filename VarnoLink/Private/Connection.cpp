#include <VarnoLink/Private/Connection.h>

#include <VarnoLink/Duration.h>
#include <VarnoLink/Private/LinkFailure.h>
#include <VarnoLink/Private/QuietWrite.h>

#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <limits>
#include <new>
#include <utility>

namespace varno {
namespace {

// In one go, before others have their turn.
constexpr int kMaxReads = 4;
constexpr int kMaxWrites = 16;
constexpr int kMaxDiscards = 64;

// How long a serial line may take for the last bytes, and how long it may take none of them.
constexpr std::chrono::milliseconds kLongestLineWait{500};
constexpr std::chrono::milliseconds kLongestLineStop{100};

// From this size on, a copy into the queue takes longer than a write of its own.
constexpr std::size_t kLargeSend = std::size_t{16} << 10;

// Until a serial line has taken what its driver has, which a write does not wait for. A line that
// takes nothing any more loses it: closing would wait for that half a minute.
void awaitLine(int terminal) noexcept {
  const auto begin = std::chrono::steady_clock::now();
  auto moved = begin;
  int before = std::numeric_limits<int>::max();
  for (int waiting = 0; ::ioctl(terminal, TIOCOUTQ, &waiting) == 0 && waiting > 0;) {
    const auto now = std::chrono::steady_clock::now();
    if (waiting < before) moved = now;
    if (now - begin > kLongestLineWait || now - moved > kLongestLineStop) {
      ::tcflush(terminal, TCOFLUSH);
      return;
    }
    before = waiting;
    ::poll(nullptr, 0, 1);
  }
}

// The mark of exclusive use would stay as long as another program has the device open, and keep
// this one from coming back.
void freeTerminal(int terminal) noexcept { ::ioctl(terminal, TIOCNXCL); }

bool isSocket(int descriptor) {
  struct stat status {};
  return ::fstat(descriptor, &status) == 0 && S_ISSOCK(status.st_mode);
}

}  // namespace

Connection::Connection(EventHost& host, Owner& owner, Descriptor descriptor,
                       const LinkOptions& options)
    : host_(host),
      owner_(owner),
      options_(options),
      descriptor_(host.loop().context(), descriptor.number()),
      isSocket_(isSocket(descriptor.number())),
      isTerminal_(::isatty(descriptor.number()) == 1),
      queue_(options.maxQueuedBytes, options.maxQueuedSends) {
  descriptor.release();
#if defined(SO_NOSIGPIPE)
  const int isOn = 1;
  if (isSocket_) {
    ::setsockopt(descriptor_.native_handle(), SOL_SOCKET, SO_NOSIGPIPE, &isOn, sizeof isOn);
  }
#endif
}

void Connection::resume() {
  isPaused_ = false;
  if (reading_ == Reading::kNot) waitReadable();
}

void Connection::waitReadable() {
  if (isClosed_) return;
  host_.waitReadable(descriptor_, [self = shared_from_this()] { self->read(); });
  reading_ = Reading::kWaiting;
}

void Connection::read() {
  reading_ = Reading::kNow;
  for (int count = 0; count < kMaxReads && !isClosed_ && !isPaused_; ++count) {
    if (!readOnce()) break;
  }
  reading_ = Reading::kNot;
  if (!isPaused_) waitReadable();
}

// Whether there may be more to read.
bool Connection::readOnce() {
  const std::span<std::uint8_t> buffer = host_.loop().readBuffer();
  const ssize_t count = ::read(descriptor_.native_handle(), buffer.data(), buffer.size());
  if (count > 0) {
    const auto bytes = buffer.first(static_cast<std::size_t>(count));
    hasReceived_ = true;
    owner_.onBytes(bytes);
    return (bytes.size() == buffer.size() || writeError_ != 0) && !owner_.isInterrupted();
  }
  if (count < 0 && errno == EINTR) return true;
  if (count < 0 && errno == EAGAIN) {
    if (writeError_ != 0) end(reasonOf(writeError_));
    return false;
  }
  // A terminal whose other side is gone fails with EIO where a socket reads nothing.
  int error = count == 0 || (errno == EIO && isTerminal_) ? EPIPE : errno;
  // The system tells once why a connection has ended: here it was told to a write.
  if (error == EPIPE && writeError_ != 0) error = writeError_;
  end(reasonOf(error));
  return false;
}

bool Connection::send(std::span<const std::uint8_t> bytes) {
  if (isClosed_ || writeError_ != 0 || !queue_.hasRoom(bytes.size())) return false;
  if (bytes.empty()) return true;
  if (!isFlushing_ && !isBlocked_) flushLater();
  const std::size_t written = writeLarge(bytes);
  if (written == bytes.size()) {
    ++writtenSends_;
    return true;
  }
  try {
    queue_.append(bytes.subspan(written));
  } catch (const std::bad_alloc&) {
    if (written == 0) throw;
    stopWriting(ENOMEM);  // a part has left, so what follows would be garbage
    return false;
  }
  return true;
}

// Writes what it can of a large send that nothing waits before; returns how much. flush() tells of
// it, and of an error.
std::size_t Connection::writeLarge(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < kLargeSend || isBlocked_ || queuedBytes() > 0) return 0;
  const ssize_t count = writeQuietly(descriptor_.native_handle(), isSocket_, bytes);
  if (count < 0 && errno != EAGAIN) failedWith_ = errno;
  const std::size_t written = count > 0 ? static_cast<std::size_t>(count) : 0;
  writtenBytes_ += written;
  return written;
}

void Connection::flushLater() {
  host_.post([self = shared_from_this()] { self->flush(); });
  isFlushing_ = true;
}

void Connection::flush() {
  isFlushing_ = false;
  std::size_t sends = std::exchange(writtenSends_, 0);
  std::size_t bytes = std::exchange(writtenBytes_, 0);
  int error = std::exchange(failedWith_, 0);
  for (int writes = 0; writes < kMaxWrites && error == 0 && queuedBytes() > 0; ++writes) {
    const std::span<const std::uint8_t> waiting = queue_.bytes();
    const ssize_t count = writeQuietly(descriptor_.native_handle(), isSocket_, waiting);
    if (count < 0) {
      error = errno;
      break;
    }
    const auto written = static_cast<std::size_t>(count);
    sends += queue_.drop(written);
    bytes += written;
    if (written < waiting.size()) error = EAGAIN;  // there is no room for more now
  }
  if (error == EAGAIN) {
    waitForPeer(bytes > 0);
    error = 0;
  } else if (error == 0 && queuedBytes() > 0) {
    flushLater();
  }
  if (bytes > 0) owner_.onWritten(sends, bytes);
  if (error != 0 && !isClosed_) stopWriting(error);
}

void Connection::waitForPeer(bool hasMoved) {
  isBlocked_ = true;
  host_.waitWritable(descriptor_, [self = shared_from_this()] {
    self->isBlocked_ = false;
    self->flush();
  });
  const bool isFirst = !std::exchange(isWatched_, true);
  if (hasMoved || isFirst) lastMoved_ = std::chrono::steady_clock::now();
  if (isFirst) watchPeer();
}

// Goes by itself as long as the peer is waited for, so that a connection that flows sets no timer.
void Connection::watchPeer() {
  const std::chrono::nanoseconds limit = options_.writeTimeout;
  if (!isBlocked_ || limit <= std::chrono::nanoseconds(0)) {
    isWatched_ = false;
    return;
  }
  const auto waited = std::chrono::steady_clock::now() - lastMoved_;
  if (waited >= limit) {
    end("the peer does not read: it took nothing for " + durationText(limit));
  } else {
    host_.waitFor(limit - waited, [self = shared_from_this()] { self->watchPeer(); });
  }
}

// What the peer sent before it went is still read; that ends with the end of the connection.
void Connection::stopWriting(int error) {
  writeError_ = error;
  queue_ = SendQueue(options_.maxQueuedBytes, options_.maxQueuedSends);
  if (reading_ == Reading::kWaiting) descriptor_.cancel();  // it is called now
}

void Connection::end(const std::string& reason) {
  if (!isClosed_) owner_.onEnded(reason);
}

void Connection::hangUp() noexcept {
  if (std::exchange(isClosed_, true)) return;
  const int descriptor = descriptor_.native_handle();
  if (isSocket_) {
    ::shutdown(descriptor, SHUT_WR);
    discardInput();
  } else if (isTerminal_) {
    awaitLine(descriptor);
    freeTerminal(descriptor);
  }
  asio::error_code ignored;
  descriptor_.close(ignored);
}

// A socket that is closed with something to be read resets the connection, and what the peer has
// not read yet may be lost.
void Connection::discardInput() noexcept {
  std::array<std::uint8_t, std::size_t{16} << 10> buffer;
  for (int reads = 0; reads < kMaxDiscards; ++reads) {
    if (::recv(descriptor_.native_handle(), buffer.data(), buffer.size(), MSG_DONTWAIT) <= 0) break;
  }
}

void Connection::reset() noexcept {
  if (std::exchange(isClosed_, true)) return;
  const int descriptor = descriptor_.native_handle();
  if (isSocket_) {
    const linger atOnce{1, 0};
    ::setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
  } else if (isTerminal_) {
    ::tcflush(descriptor, TCIOFLUSH);
    freeTerminal(descriptor);
  }
  asio::error_code ignored;
  descriptor_.close(ignored);
}

}  // namespace varno
