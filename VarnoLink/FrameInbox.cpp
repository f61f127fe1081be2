#include <VarnoLink/FrameInbox.h>
#include <VarnoNetwork/Network/HudException.h>
#include <VarnoNetwork/Network/MainThreadDelivery.h>
#include <VarnoNetwork/Network/Wire.h>

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace varno {
namespace {

using SteadyClock = std::chrono::steady_clock;

// After which other tasks of the main thread have their turn.
constexpr std::chrono::milliseconds kTurnTime{5};
constexpr std::size_t kTurnItems = 256;

// How long close() waits for a listener that runs on another thread.
constexpr std::chrono::milliseconds kCloseTime{50};

// Frames, and tasks between them, in their order.
class Items {
 public:
  void pushFrame(std::span<const std::uint8_t> frame) {
    sizes_.push_back(frame.size());
    try {
      bytes_.insert(bytes_.end(), frame.begin(), frame.end());
    } catch (...) {
      sizes_.pop_back();
      throw;
    }
  }

  void pushTask(MainThread::Task task) {
    tasks_.push_back(std::move(task));
    try {
      sizes_.push_back(0);
    } catch (...) {
      tasks_.pop_back();
      throw;
    }
  }

  bool isEmpty() const { return next_ == sizes_.size(); }

  // Takes the next one: a frame, valid until the items are cleared; or, where that is empty, a
  // task.
  std::span<const std::uint8_t> next(MainThread::Task& task) {
    const std::size_t size = sizes_[next_++];
    if (size == 0) {
      task = std::move(tasks_.front());
      tasks_.pop_front();
      return {};
    }
    const std::span<const std::uint8_t> frame(&bytes_[offset_], size);
    offset_ += size;
    return frame;
  }

  // Keeps the memory for the next ones, unless it is much.
  void clear() {
    constexpr std::size_t kKeptBytes = std::size_t{1} << 18;
    if (bytes_.capacity() > kKeptBytes) *this = Items();
    sizes_.clear();
    bytes_.clear();
    tasks_.clear();
    next_ = offset_ = 0;
  }

 private:
  std::vector<std::size_t> sizes_;  // 0 for a task
  std::vector<std::uint8_t> bytes_;
  std::list<MainThread::Task> tasks_;  // of a list, an empty one needs no memory
  std::size_t next_ = 0;
  std::size_t offset_ = 0;
};

FrameInboxOptions checked(FrameInboxOptions options) {
  if (options.maxFrames == 0 || options.maxBytes == 0) {
    throw InvalidArgumentException("The limit of what waits for the main thread is 0 " +
                                   std::string(options.maxFrames == 0 ? "frames" : "bytes") +
                                   ": nothing would ever be received");
  }
  if (options.maxFrameBytes < kShortestFrame) {
    throw InvalidArgumentException(
        "The longest frame is to have " + std::to_string(options.maxFrameBytes) +
        " bytes, and the shortest has " + std::to_string(kShortestFrame) +
        ": nothing would ever be received");
  }
  return options;
}

}  // namespace

// Shared with the task that is posted to the main thread.
struct FrameInbox::State : std::enable_shared_from_this<State> {
  State(const HudNetwork& network, FrameInboxOptions inboxOptions)
      : options(checked(std::move(inboxOptions))),
        delivery(network),
        cutter(options.maxFrameBytes) {}

  bool feed(std::span<const std::uint8_t> bytes);
  void pushTask(MainThread::Task task);
  void postTurnIfNeeded();
  void runTurn();
  void giveUpTurn() noexcept;
  void close() noexcept;

  const FrameInboxOptions options;
  MainThreadDelivery delivery;

  mutable std::mutex mutex;  // guards what follows
  std::condition_variable changed;
  FrameCutter cutter;
  Items coming;
  Items taken;  // by the main thread, which uses it without the lock in its turn
  std::size_t waitingFrames = 0;
  std::size_t waitingBytes = 0;
  std::uint64_t refusedFrames = 0;
  bool isFull = false;                    // until half of the room is free again
  std::atomic<bool> isClosed = false;     // read without the lock, too
  bool isPosted = false;                  // whether a turn is to come or running
  std::optional<std::thread::id> runner;  // of the turn that is running

 private:
  struct PostedTurn;
  struct Turn;
};

// The one task that waits in the main thread's queue. Where that is closed it is destroyed without
// having run, and a later frame may try again, with another main thread.
struct FrameInbox::State::PostedTurn {
  explicit PostedTurn(std::shared_ptr<State> its) : state(std::move(its)) {}
  ~PostedTurn() {
    if (state != nullptr) state->giveUpTurn();
  }
  PostedTurn(const PostedTurn&) = delete;
  PostedTurn& operator=(const PostedTurn&) = delete;

  void run() { std::exchange(state, nullptr)->runTurn(); }

  std::shared_ptr<State> state;  // null once it ran
};

// A turn of the main thread that is running. What it did is accounted for when it ends, by an
// exception too.
struct FrameInbox::State::Turn {
  explicit Turn(State& its) : state(its) {}
  ~Turn();
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

  bool next(MainThread::Task& task, std::span<const std::uint8_t>& frame);

  State& state;
  std::size_t frames = 0;
  std::size_t bytes = 0;
  std::uint64_t refused = 0;
};

bool FrameInbox::State::Turn::next(MainThread::Task& task, std::span<const std::uint8_t>& frame) {
  if (state.taken.isEmpty()) {
    state.taken.clear();
    const std::lock_guard lock(state.mutex);
    std::swap(state.taken, state.coming);
    if (state.taken.isEmpty()) return false;
  }
  frame = state.taken.next(task);
  if (!frame.empty()) ++frames;
  bytes += frame.size();
  return true;
}

FrameInbox::State::Turn::~Turn() {
  Items dropped;
  bool hasRoom = false;
  {
    const std::lock_guard lock(state.mutex);
    state.runner.reset();
    state.isPosted = false;
    state.refusedFrames += refused;
    if (state.isClosed) {
      std::swap(dropped, state.taken);
    } else {
      state.waitingFrames -= frames;
      state.waitingBytes -= bytes;
      hasRoom = state.isFull && state.waitingFrames <= state.options.maxFrames / 2 &&
                state.waitingBytes <= state.options.maxBytes / 2;
      if (hasRoom) state.isFull = false;
    }
    state.changed.notify_all();
  }
  // Without memory the next turn is posted with the next frame.
  try {
    state.postTurnIfNeeded();
  } catch (...) {
  }
  try {
    if (hasRoom && state.options.onRoom) state.options.onRoom();
  } catch (...) {
  }
}

void FrameInbox::State::giveUpTurn() noexcept {
  const std::lock_guard lock(mutex);
  isPosted = false;
}

void FrameInbox::State::runTurn() {
  if (!MainThread::instance().isCurrent()) {  // the application has set another one meanwhile
    giveUpTurn();
    return postTurnIfNeeded();
  }
  {
    const std::lock_guard lock(mutex);
    runner = std::this_thread::get_id();
  }
  Turn turn(*this);
  const SteadyClock::time_point end = SteadyClock::now() + kTurnTime;
  for (std::size_t item = 0; item < kTurnItems; ++item) {
    if (isClosed || (item > 0 && SteadyClock::now() >= end)) return;
    MainThread::Task task;
    std::span<const std::uint8_t> frame;
    if (!turn.next(task, frame)) return;
    if (task) {
      task();
    } else if (!delivery.handle(frame)) {
      ++turn.refused;
    }
  }
}

// With no lock held: a closed main thread destroys the task at once.
void FrameInbox::State::postTurnIfNeeded() {
  {
    const std::lock_guard lock(mutex);
    if (isPosted || isClosed || (coming.isEmpty() && taken.isEmpty())) return;
    isPosted = true;
  }
  try {
    const auto posted = std::make_shared<PostedTurn>(shared_from_this());
    MainThread::instance().post([posted] { posted->run(); });
  } catch (...) {
    const std::lock_guard lock(mutex);
    isPosted = false;
    throw;
  }
}

bool FrameInbox::State::feed(std::span<const std::uint8_t> bytes) {
  bool hasRoom = true;
  {
    const std::lock_guard lock(mutex);
    if (isClosed) return false;
    cutter.feed(bytes, [this](const FrameCutter::Piece& piece) {
      if (piece.kind != RecordKind::kFrame) return;
      coming.pushFrame(piece.bytes);
      ++waitingFrames;
      waitingBytes += piece.bytes.size();
    });
    isFull = isFull || waitingFrames >= options.maxFrames || waitingBytes >= options.maxBytes;
    hasRoom = !isFull;
  }
  postTurnIfNeeded();
  return hasRoom;
}

void FrameInbox::State::pushTask(MainThread::Task task) {
  if (!task) return;
  {
    const std::lock_guard lock(mutex);
    if (isClosed) return;
    coming.pushTask(std::move(task));
  }
  postTurnIfNeeded();
}

void FrameInbox::State::close() noexcept {
  delivery.close();
  std::array<Items, 2>
      dropped;  // destroyed after the lock was released: tasks may do anything then
  std::unique_lock lock(mutex);
  isClosed = true;
  waitingFrames = waitingBytes = 0;
  std::swap(dropped[0], coming);
  changed.notify_all();
  if (!runner) {
    std::swap(dropped[1], taken);
  } else if (runner != std::this_thread::get_id()) {
    changed.wait_for(lock, kCloseTime, [this] { return !runner.has_value(); });
  }
}

FrameInbox::FrameInbox(const HudNetwork& network, FrameInboxOptions options)
    : state_(std::make_shared<State>(network, std::move(options))) {}

FrameInbox::~FrameInbox() { close(); }

bool FrameInbox::feed(std::span<const std::uint8_t> bytes) { return state_->feed(bytes); }

void FrameInbox::finish() {
  const std::lock_guard lock(state_->mutex);
  state_->cutter.finish();
}

void FrameInbox::post(MainThread::Task task) { state_->pushTask(std::move(task)); }

bool FrameInbox::waitForRoom() {
  if (MainThread::instance().isCurrent()) {
    throw InternalInconsistencyException("The main thread was to wait for room that it makes");
  }
  std::unique_lock lock(state_->mutex);
  state_->changed.wait(lock, [this] { return !state_->isFull || state_->isClosed; });
  return !state_->isClosed;
}

void FrameInbox::close() noexcept { state_->close(); }

FrameInboxCounters FrameInbox::counters() const {
  const std::lock_guard lock(state_->mutex);
  return {.pieces = state_->cutter.counts(),
          .refusedFrames = state_->refusedFrames,
          .waitingFrames = state_->waitingFrames,
          .waitingBytes = state_->waitingBytes};
}

}  // namespace varno
