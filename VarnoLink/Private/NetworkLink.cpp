#include <VarnoLink/Private/NetworkLink.h>
#include <VarnoLink/Private/SignalsBlocked.h>
#include <VarnoNetwork/Network/HudLog.h>

#include <unistd.h>

#include <exception>
#include <limits>
#include <list>
#include <new>
#include <utility>

namespace varno {
namespace {

// How long stop() waits for the thread, which takes so long only in an observer.
constexpr std::chrono::milliseconds kStopTime{40};

// While reading is paused: how often it is looked whether it may go on.
constexpr std::chrono::milliseconds kLookTime{10};

// From here on what waits in a fault holds up the peer, too.
constexpr std::size_t kMaxHeldBytes = std::size_t{1} << 20;

constexpr const char* kOutOfMemory = "out of memory";
constexpr const char* kStopped = "stopped";

// Does what may fail without anything having to end for that.
template <class Action>
void logged(Action&& action) noexcept {
  const auto log = [](std::string_view reason) noexcept {
    try {
      HudLog::write("the link's thread got exception : " + std::string(reason));
    } catch (...) {
      // No memory is left for the line.
    }
  };
  try {
    action();
  } catch (const std::exception& exception) {
    log(exception.what());
  } catch (...) {
    log("unknown exception");
  }
}

Direction opposite(Direction direction) {
  return direction == Direction::kToDisplay ? Direction::kToPhone : Direction::kToDisplay;
}

}  // namespace

// The changes that the main thread has still to be told. Where it is busy for long, the last of
// many stands for those before it.
class NetworkLink::StatusTeller {
 public:
  explicit StatusTeller(std::function<void(const LinkStatus&)> onStatus)
      : onStatus_(std::move(onStatus)) {}

  // On the link's thread. Whether there is one more to be told.
  bool add(const LinkStatus& status) {
    const std::lock_guard lock(mutex_);
    const bool isMore = untold_.size() < kMostUntold;
    if (!isMore) untold_.pop_back();
    untold_.push_back(status);
    return isMore;
  }

  // The last one will not be told.
  void takeBack() {
    const std::lock_guard lock(mutex_);
    if (!untold_.empty()) untold_.pop_back();
  }

  void tellNext() {
    std::unique_lock lock(mutex_);
    if (untold_.empty()) return;
    const LinkStatus status = std::move(untold_.front());
    untold_.pop_front();
    lock.unlock();
    if (onStatus_) onStatus_(status);
  }

 private:
  static constexpr std::size_t kMostUntold = 100;

  const std::function<void(const LinkStatus&)> onStatus_;
  std::mutex mutex_;
  std::list<LinkStatus> untold_;
};

NetworkLink::NetworkLink(LinkNetworkOptions options, const Address& address)
    : options_(std::move(options)),
      statusTeller_(std::make_shared<StatusTeller>(options_.onStatus)),
      untold_(std::make_shared<char>()),
      outbox_({options_.maxSendFrames, options_.maxSendBytes},
              [this] { loop_.post([this] { sendQueued(); }); }),
      out_(
          loop_, options_.sends, options_.faultSeed,
          [this](const FaultStage::Emission& emission, bool isUntouched) {
            sendOut(emission, isUntouched);
          },
          [this] { countOther(); }),
      in_(
          loop_, opposite(options_.sends), options_.faultSeed,
          [this](const FaultStage::Emission& emission, bool) { takeIn(emission); },
          [this] { setReading(); }),
      readingTimer_(loop_),
      status_{LinkState::kDown, address, {}} {}

std::shared_ptr<NetworkLink> NetworkLink::makeUnconnected(const HudNetwork& network,
                                                          LinkNetworkOptions options,
                                                          const Address& address) {
  std::shared_ptr<NetworkLink> made(new NetworkLink(std::move(options), address));
  made->inbox_.emplace(
      network, FrameInboxOptions{.maxFrames = made->options_.maxReceiveFrames,
                                 .maxBytes = made->options_.maxReceiveBytes,
                                 .maxFrameBytes = made->options_.maxFrameBytes,
                                 .onRoom = [weak = std::weak_ptr(made)] {
                                   const auto link = weak.lock();
                                   if (link)
                                     link->loop_.post([raw = link.get()] { raw->setReading(); });
                                 }});
  return made;
}

std::shared_ptr<NetworkLink> NetworkLink::make(const HudNetwork& network, const Address& address,
                                               LinkNetworkOptions options) {
  auto made = makeUnconnected(network, std::move(options), address);
  made->link_.emplace(made->loop_, address, made->linkOptions(), made->handlers());
  return made;
}

std::shared_ptr<NetworkLink> NetworkLink::make(const HudNetwork& network, int descriptor,
                                               LinkNetworkOptions options) {
  std::shared_ptr<NetworkLink> made;
  try {
    made = makeUnconnected(network, std::move(options), Address::ofDescriptor(descriptor));
  } catch (...) {
    ::close(descriptor);
    throw;
  }
  made->link_.emplace(made->loop_, descriptor, made->linkOptions(), made->handlers());
  return made;
}

// The queue of sends is what has limits. What faults add to it comes on top.
LinkOptions NetworkLink::linkOptions() const {
  LinkOptions options = options_.link;
  options.maxQueuedBytes = options.maxQueuedSends = std::numeric_limits<std::size_t>::max();
  return options;
}

LinkHandlers NetworkLink::handlers() {
  return {.onStatus = [this](const LinkStatus& status) { onStatus(status); },
          .onBytes =
              [this](std::span<const std::uint8_t> bytes) {
                receivedBytes_ += bytes.size();
                in_.pass(bytes);
                setReading();
              },
          .onWritten = [this](std::size_t sends, std::size_t) { onWritten(sends); }};
}

void NetworkLink::start() {
  const std::lock_guard lock(mutex_);
  if (isStarted_) {
    throw InternalInconsistencyException("A link is started once; make another network");
  }
  link_->open();
  try {
    const SignalsBlocked blocked;
    thread_ = std::thread([self = shared_from_this()] { self->run(); });
  } catch (...) {
    link_->close();
    throw;
  }
  isStarted_ = true;
}

void NetworkLink::stop() noexcept {
  inbox_->close();
  outbox_.close([](FrameOutbox::OnGiven&&) {});
  cancellation_.cancel();
  loop_.stop();
  std::unique_lock lock(mutex_);
  isStarted_ = true;
  if (!thread_.joinable()) return;
  std::thread thread = std::move(thread_);
  const bool isFinished = thread.get_id() != std::this_thread::get_id() &&
                          finished_.wait_for(lock, kStopTime, [this] { return isFinished_; });
  lock.unlock();
  isFinished ? thread.join() : thread.detach();
}

bool NetworkLink::send(std::span<const std::uint8_t> frame, FrameOutbox::OnGiven&& onGiven) {
  const auto untold = static_cast<std::size_t>(untold_.use_count() - 1);
  if (onGiven && untold >= options_.maxSendFrames) return false;
  return outbox_.push(frame, std::move(onGiven));
}

bool NetworkLink::flush(std::chrono::milliseconds timeout) {
  // The link's thread would wait for itself.
  return outbox_.waitUntilGiven(loop_.isCurrent() ? std::chrono::milliseconds(0) : timeout);
}

LinkStatus NetworkLink::status() const {
  const std::lock_guard lock(mutex_);
  return status_;
}

LinkNetworkCounters NetworkLink::counters() const {
  return {.connections = connections_,
          .sentFrames = outbox_.given(),
          .lostFrames = outbox_.lost(),
          .receivedBytes = receivedBytes_,
          .received = inbox_->counters()};
}

void NetworkLink::run() noexcept {
  {
    // Without it, where memory runs out, stop() leaves an observer that waits to itself.
    std::optional<WaitCancellation::Scope> scope;
    logged([&] { scope.emplace(cancellation_); });
    runLoop();
    link_->close();
    readingTimer_.cancel();
    logged([this] {
      if (isUp_) record(RecordKind::kLinkDown, kStopped);
    });
  }
  const std::lock_guard lock(mutex_);
  status_.state = LinkState::kDown;
  status_.reason = kStopped;
  isFinished_ = true;
  finished_.notify_all();
}

void NetworkLink::runLoop() noexcept {
  for (bool isOver = false; !isOver;) {
    logged([&] {
      try {
        loop_.run();
        isOver = true;
      } catch (const std::bad_alloc&) {
        end(kOutOfMemory);
      }
    });
  }
}

void NetworkLink::onStatus(LinkStatus status) {
  const bool wasUp = std::exchange(isUp_, status.state == LinkState::kUp);
  std::string reason = std::exchange(reason_, {});
  if (status.state == LinkState::kDown && !reason.empty()) status.reason = std::move(reason);
  if (wasUp && !isUp_) {
    written_.clear();
    otherBytes_ = 0;
    hangUp_.reset();
    inbox_->finish();
    outbox_.close([this](FrameOutbox::OnGiven&& onGiven) {
      logged([&] { tell(std::move(onGiven), false); });
    });
  } else if (isUp_) {
    ++connections_;
    out_.restart();
    in_.restart();
    countOther();
    outbox_.open();
    setReading();  // it may be held up since an earlier connection
  }
  {
    const std::lock_guard lock(mutex_);
    status_ = status;
  }
  tell(status);
  if (isUp_) {
    record(RecordKind::kLinkUp, status.reason);
  } else if (wasUp) {
    record(RecordKind::kLinkDown, status.reason);
  }
}

// Also where nobody wants to be told: whoever runs the main thread until the link is up is woken.
void NetworkLink::tell(const LinkStatus& status) {
  if (!statusTeller_->add(status)) return;
  try {
    inbox_->post([teller = statusTeller_] { teller->tellNext(); });
  } catch (...) {
    statusTeller_->takeBack();
    throw;
  }
}

void NetworkLink::tell(FrameOutbox::OnGiven&& onGiven, bool isGiven) {
  inbox_->post([counted = untold_, onGiven = std::move(onGiven), isGiven] { onGiven(isGiven); });
}

void NetworkLink::sendQueued() {
  outbox_.take(batch_);
  std::span<const std::uint8_t> rest = batch_.bytes;
  for (const std::size_t size : batch_.sizes) {
    const bool isUntouched = out_.pass(rest.first(size));
    rest = rest.subspan(size);
    // What a fault may have changed is counted as other bytes; as a frame it is through.
    if (!isUntouched) {
      countOther();
      outbox_.give(1, size,
                   [this](FrameOutbox::OnGiven&& onGiven) { tell(std::move(onGiven), true); });
    }
  }
}

void NetworkLink::countOther() { outbox_.setOtherBytes(otherBytes_ + out_.waitingBytes()); }

void NetworkLink::sendOut(const FaultStage::Emission& emission, bool isUntouched) {
  if (!emission.bytes.empty()) {
    written_.push_back({emission.bytes.size(), isUntouched});
    if (!link_->sendOrThrow(emission.bytes)) {  // the connection is ending
      written_.pop_back();
      return;
    }
    if (!isUntouched) otherBytes_ += emission.bytes.size();
  }
  show(options_.sends, emission);
  if (emission.kind != FaultStage::Emission::Kind::kBytes) {
    hangUp_ = emission.kind;
    if (link_->queuedBytes() == 0) hangUp();
  }
}

void NetworkLink::onWritten(std::size_t sends) {
  std::size_t frames = 0;
  std::size_t frameBytes = 0;
  for (; sends > 0; --sends) {
    const Written& written = written_.front();
    if (written.isFrame) {
      ++frames;
      frameBytes += written.bytes;
    } else {
      otherBytes_ -= written.bytes;
    }
    written_.pop_front();
  }
  countOther();
  outbox_.give(frames, frameBytes,
               [this](FrameOutbox::OnGiven&& onGiven) { tell(std::move(onGiven), true); });
  if (hangUp_ && link_->queuedBytes() == 0) hangUp();
}

void NetworkLink::hangUp() {
  const bool isReset = hangUp_ == FaultStage::Emission::Kind::kReset;
  reason_ = isReset ? "a fault reset the connection" : "a fault closed the connection";
  isReset ? link_->reset() : link_->hangUp();
}

void NetworkLink::end(const std::string& reason) {
  if (link_->status().state != LinkState::kUp) return;
  reason_ = reason;
  link_->reset();
}

void NetworkLink::takeIn(const FaultStage::Emission& emission) {
  if (!emission.bytes.empty()) hasRoom_ = inbox_->feed(emission.bytes);
  show(opposite(options_.sends), emission);
  if (emission.kind != FaultStage::Emission::Kind::kBytes) {
    hangUp_ = emission.kind;
    hangUp();
  }
}

void NetworkLink::show(Direction direction, const FaultStage::Emission& emission) {
  if (!options_.observer) return;
  const LinkTime now = loop_.clock().now();
  if (emission.isAltered) {
    record({now.time_since_epoch().count(),
            direction,
            RecordKind::kFault,
            {emission.bytes.begin(), emission.bytes.end()},
            std::string(emission.note)});
  } else {
    observe([&](TrafficObserver& observer) {
      observer.onBytes(now, direction, emission.bytes, emission.note);
    });
  }
}

void NetworkLink::record(const TrafficRecord& record) {
  observe([&](TrafficObserver& observer) { observer.onRecord(record); });
}

// What an observer throws ends nothing, and leaves out nothing that its caller has still to do; but
// for memory that has run out.
template <class Show>
void NetworkLink::observe(Show show) {
  bool hasMemory = true;
  logged([&] {
    try {
      show(*options_.observer);
    } catch (const std::bad_alloc&) {
      hasMemory = false;
    }
  });
  if (!hasMemory) throw std::bad_alloc();
}

// Pauses reading where what was read waits, and goes on when there is room.
void NetworkLink::setReading() {
  if (!hasRoom_) hasRoom_ = inbox_->feed({});
  const bool isHeldUp = !hasRoom_ || in_.waitingBytes() > kMaxHeldBytes ||
                        (options_.observer && options_.observer->isBehind());
  if (isHeldUp) {
    readingTimer_.after(kLookTime, [this] { setReading(); });
    if (!isPaused_) link_->pauseReading();
  } else if (isPaused_) {
    link_->resumeReading();
  }
  isPaused_ = isHeldUp;
}

void NetworkLink::record(RecordKind kind, const std::string& note) {
  if (!options_.observer) return;
  record({.time = loop_.clock().now().time_since_epoch().count(), .kind = kind, .note = note});
}

}  // namespace varno
