#include <VarnoLink/Private/LinkCore.h>

#include <VarnoLink/Private/LinkFailure.h>

#include <utility>

namespace varno {

LinkCore::LinkCore(LoopCore& loop, Address address, LinkOptions options, LinkHandlers handlers)
    : EventHost(loop),
      options_(options),
      handlers_(std::move(handlers)),
      status_{LinkState::kDown, std::move(address), {}},
      backOff_(options_),
      opener_(makeOpener(*this, *this, status_.address, options_)) {}

LinkCore::LinkCore(LoopCore& loop, Descriptor descriptor, LinkOptions options,
                   LinkHandlers handlers)
    : EventHost(loop),
      options_(options),
      handlers_(std::move(handlers)),
      status_{LinkState::kDown, Address::ofDescriptor(descriptor.number()), {}},
      backOff_(options_),
      opener_(makeOpener(*this, *this, std::move(descriptor))) {}

void LinkCore::open() {
  if (isOpen_) return;
  retryIn(std::chrono::nanoseconds(0), [this] { begin(); });
  isOpen_ = true;
  backOff_.reset();
}

void LinkCore::begin() {
  beginEpoch();
  opener_->start();
}

void LinkCore::onOpening(const Address& address) {
  status_ = {LinkState::kConnecting, address, {}};
  tell();
}

void LinkCore::onOpened(Descriptor descriptor, std::string hint) {
  Connection::Owner& owner = *this;
  connection_ = std::make_shared<Connection>(*this, owner, std::move(descriptor), options_);
  status_.state = LinkState::kUp;
  status_.reason = std::move(hint);
  upSince_ = std::chrono::steady_clock::now();
  const std::shared_ptr<Connection> connection = connection_;
  tell();
  if (connection == connection_ && !isPaused_) connection->resume();
}

void LinkCore::onBytes(std::span<const std::uint8_t> bytes) { call(handlers_.onBytes, bytes); }

void LinkCore::onWritten(std::size_t sends, std::size_t bytes) {
  call(handlers_.onWritten, sends, bytes);
}

// The attempt or the connection has ended. What is next is arranged before it is told, since
// whoever is told may want something else.
void LinkCore::fail(std::string reason) {
  beginEpoch();
  opener_->cancel();
  const bool wasUp = connection_ != nullptr;
  if (wasUp) {
    const auto lasted = std::chrono::steady_clock::now() - upSince_;
    if (connection_->hasReceived() || lasted >= backOff_.longest()) backOff_.reset();
    connection_->hangUp();
    connection_.reset();
  }
  status_.state = LinkState::kDown;
  status_.reason = std::move(reason);
  const bool isAtOnce = wasUp && opener_->isListening();
  if (options_.reconnects && opener_->canReopen()) {
    retryIn(isAtOnce ? std::chrono::nanoseconds(0) : backOff_.next(), [this] { begin(); });
  } else {
    isOpen_ = false;
    opener_->close();
  }
  tell();
}

void LinkCore::tell() {
  const LinkStatus status = status_;  // the handler may change the link's
  call(handlers_.onStatus, status);
}

void LinkCore::onThrown() noexcept {
  if (!isOpen_) return;
  try {
    fail(currentReason());
  } catch (...) {  // memory ran out
    // The state is kDown by then, and the next attempt is arranged; it could not be told.
  }
}

void LinkCore::close() noexcept {
  beginEpoch();
  isOpen_ = false;
  if (connection_) connection_->hangUp();
  connection_.reset();
  opener_->close();
  status_.state = LinkState::kDown;
  status_.reason = "closed";
}

// What retryIn needs of memory is there already.
// NOLINTNEXTLINE(bugprone-exception-escape)
void LinkCore::hangUp() noexcept {
  if (status_.state != LinkState::kUp) return;
  connection_->hangUp();
  failLater("this side hung up");
}

// NOLINTNEXTLINE(bugprone-exception-escape)
void LinkCore::reset() noexcept {
  if (status_.state != LinkState::kUp) return;
  connection_->reset();
  failLater("this side reset the connection");
}

void LinkCore::failLater(const char* reason) {
  beginEpoch();
  retryIn(std::chrono::nanoseconds(0), [this, reason] { fail(reason); });
  status_.state = LinkState::kDown;
  status_.reason = "ended";
}

void LinkCore::pauseReading() noexcept {
  isPaused_ = true;
  if (connection_) connection_->pause();
}

void LinkCore::resumeReading() {
  isPaused_ = false;
  if (connection_) connection_->resume();
}

void LinkCore::abandon() noexcept {
  close();
  isAbandoned_ = true;
  if (!isRunning()) onRun();
}

void LinkCore::onRun() noexcept {
  if (isAbandoned_) handlers_ = {};
}

}  // namespace varno
