#include <VarnoLink/CaptureRecorder.h>

#include <VarnoLink/Private/CaptureFile.h>
#include <VarnoLink/Private/LinkFailure.h>
#include <VarnoLink/Private/SignalsBlocked.h>
#include <VarnoLink/RecordCutter.h>
#include <VarnoNetwork/Network/HudException.h>
#include <VarnoTraffic/LineWriter.h>
#include <VarnoTraffic/PcapngWriter.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <limits>
#include <mutex>
#include <new>
#include <ostream>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace varno {
namespace {

// So much, or so old, is written: in few large pieces, and soon enough for who looks at the file.
constexpr std::size_t kBatchBytes = std::size_t{1} << 18;
constexpr std::chrono::milliseconds kBatchTime(100);
// A burst's memory is given back behind it.
constexpr std::size_t kMostKeptMemory = std::size_t{8} << 20;

// What was shown to the recorder waits as a row of these, each with its bytes and its note behind
// it.
struct Entry {
  enum class Kind : std::uint8_t { kBytes, kRecord, kGap };

  std::int64_t time = 0;
  std::uint64_t bytes = 0;  // how many; of a gap, those that are missing
  std::uint64_t noteBytes = 0;
  Kind kind = Kind::kBytes;
  RecordKind recordKind = RecordKind::kFrame;
  Direction direction = Direction::kToDisplay;
  bool hasTime = true;
  bool hasDirection = true;
};

std::unique_ptr<RecordWriter> makeWriter(CaptureFormat format, std::ostream& output,
                                         Secrets secrets) {
  switch (format) {
    case CaptureFormat::kPcapng: return std::make_unique<PcapngWriter>(output);
    case CaptureFormat::kJsonLines:
      return std::make_unique<LineWriter>(output, JsonPrinter(secrets));
    case CaptureFormat::kTextLines: break;
  }
  return std::make_unique<LineWriter>(output, NotationPrinter(secrets));
}

CaptureFormat formatOf(const std::string& path, const CaptureOptions& options) {
  const auto format = options.format ? options.format : captureFormatOf(path);
  if (format) return *format;
  throw InvalidArgumentException(
      "the name tells no form of capture: it is to end in .pcapng, .txt, "
      ".json, .jsonl or .ndjson");
}

}  // namespace

std::optional<CaptureFormat> captureFormatOf(std::string_view fileName) noexcept {
  constexpr std::pair<std::string_view, CaptureFormat> kEndings[] = {
      {".pcapng", CaptureFormat::kPcapng},
      {".txt", CaptureFormat::kTextLines},
      {".json", CaptureFormat::kJsonLines},
      {".jsonl", CaptureFormat::kJsonLines},
      {".ndjson", CaptureFormat::kJsonLines}};
  for (const auto& [ending, format] : kEndings) {
    if (fileName.ends_with(ending)) return format;
  }
  return std::nullopt;
}

struct CaptureRecorder::State {
  // A record that was given to the file, which does not have it yet.
  struct Handed {
    std::int64_t end;  // its own in the file
    std::size_t bytes;
    std::uint64_t piecesBefore;
  };

  State(const std::string& path, CaptureOptions given)
      : options(std::move(given)),
        format(formatOf(path, options)),
        file(path),
        output(&file),
        cutter([this](const TrafficRecord& record) { write(record); }) {}

  void keep(Entry entry, std::span<const std::uint8_t> bytes, std::string_view note) noexcept;
  void append(Entry entry, std::span<const std::uint8_t> bytes, std::string_view note);
  void run() noexcept;
  void work();
  bool takeBatch();
  void writeBatch();
  void write(const TrafficRecord& record);
  void countWritten();
  void fail(const std::string& reason) noexcept;

  const CaptureOptions options;
  const CaptureFormat format;

  // On the recorder's thread.
  CaptureFile file;
  std::ostream output;
  std::unique_ptr<RecordWriter> writer;
  RecordCutter cutter;
  std::vector<std::uint8_t> batch;
  LinkTime timeLast;
  std::deque<Handed> handed;
  std::uint64_t pieces = 0;        // of which records were made
  std::uint64_t writtenBytes = 0;  // of the records in the file
  std::atomic<std::size_t> waitingBytes = 0;
  std::atomic<std::uint64_t> records = 0;
  std::atomic<bool> hasFailed = false;

  std::mutex mutex;  // of what follows
  std::condition_variable changed;
  std::vector<std::uint8_t> waiting;
  std::uint64_t keptBytes = 0;  // that waited or still do
  std::uint64_t keptPieces = 0;
  std::uint64_t lostBytes = 0;
  std::uint64_t lostPieces = 0;
  std::uint64_t untoldBytes = 0;  // of those, what no gap in the file tells yet
  bool isClosing = false;

  std::thread thread;
};

void CaptureRecorder::State::keep(Entry entry, std::span<const std::uint8_t> bytes,
                                  std::string_view note) noexcept {
  entry.bytes = bytes.size();
  entry.noteBytes = note.size();
  const std::size_t size = sizeof entry + bytes.size() + note.size();
  std::size_t before = 0;
  std::size_t after = 0;
  {
    const std::lock_guard lock(mutex);
    if (isClosing) return;
    before = waiting.size();
    bool isKept = false;
    if (!hasFailed && before + sizeof entry + size <= options.maxWaitingBytes) {
      try {
        if (untoldBytes > 0) {
          append({.time = entry.time, .bytes = untoldBytes, .kind = Entry::Kind::kGap}, {}, {});
          untoldBytes = 0;
        }
        append(entry, bytes, note);
        isKept = true;
      } catch (const std::bad_alloc&) {  // counted below
      }
    }
    if (isKept) {
      keptBytes += bytes.size();
      ++keptPieces;
    } else {
      lostBytes += bytes.size();
      untoldBytes += bytes.size();
      ++lostPieces;
    }
    after = waiting.size();
    waitingBytes.store(after, std::memory_order_relaxed);
  }
  // The thread sleeps until there is something, and from then on until it is much.
  if ((before == 0 && after > 0) || (before < kBatchBytes && after >= kBatchBytes)) {
    changed.notify_one();
  }
}

// All of it or nothing.
void CaptureRecorder::State::append(Entry entry, std::span<const std::uint8_t> bytes,
                                    std::string_view note) {
  const std::size_t size = waiting.size() + sizeof entry + bytes.size() + note.size();
  if (size > waiting.capacity()) waiting.reserve(std::max(2 * waiting.capacity(), size));
  std::array<std::uint8_t, sizeof entry> head;
  std::memcpy(head.data(), &entry, sizeof entry);
  waiting.insert(waiting.end(), head.begin(), head.end());
  waiting.insert(waiting.end(), bytes.begin(), bytes.end());
  waiting.insert(waiting.end(), note.begin(), note.end());
}

void CaptureRecorder::State::run() noexcept {
  try {
    work();
    cutter.finish(timeLast);
  } catch (const std::bad_alloc&) {
    return fail(reasonOf(ENOMEM));
  } catch (const std::exception& exception) {
    return fail(exception.what());
  }
  if (!file.close()) fail(std::generic_category().message(file.error()));
  countWritten();
}

void CaptureRecorder::State::work() {
  writer = makeWriter(format, output, options.secrets);
  writer->flush();
  while (file.error() == 0 && takeBatch()) {
    writeBatch();
    writer->flush();
    countWritten();
  }
}

// False at the end.
bool CaptureRecorder::State::takeBatch() {
  batch.clear();
  if (batch.capacity() > kMostKeptMemory) std::vector<std::uint8_t>().swap(batch);
  std::unique_lock lock(mutex);
  changed.wait(lock, [this] { return isClosing || !waiting.empty(); });
  changed.wait_for(lock, kBatchTime, [this] { return isClosing || waiting.size() >= kBatchBytes; });
  if (waiting.empty() && untoldBytes > 0) {
    append({.bytes = std::exchange(untoldBytes, 0), .kind = Entry::Kind::kGap, .hasTime = false},
           {}, {});
  }
  batch.swap(waiting);
  waitingBytes.store(0, std::memory_order_relaxed);
  return !batch.empty();
}

void CaptureRecorder::State::writeBatch() {
  TrafficRecord record;
  std::span<const std::uint8_t> rest(batch);
  while (!rest.empty() && file.error() == 0) {
    Entry entry;
    std::memcpy(&entry, rest.data(), sizeof entry);
    rest = rest.subspan(sizeof entry);
    if (entry.hasTime) timeLast = LinkTime(std::chrono::nanoseconds(entry.time));
    if (entry.kind == Entry::Kind::kGap) {
      cutter.finish(timeLast);
      record = {.time = timeLast.time_since_epoch().count(), .kind = RecordKind::kNote};
      record.note = std::to_string(entry.bytes) + " bytes passed here that could not be recorded";
      cutter.onRecord(record);
      continue;
    }
    const auto bytes = rest.first(entry.bytes);
    const auto noteBytes = rest.subspan(entry.bytes, entry.noteBytes);
    const std::string_view note(reinterpret_cast<const char*>(noteBytes.data()), noteBytes.size());
    rest = rest.subspan(entry.bytes + entry.noteBytes);
    if (entry.kind == Entry::Kind::kBytes) {
      cutter.onBytes(timeLast, entry.direction, bytes, note);
    } else {
      record = {.kind = entry.recordKind};
      if (entry.hasTime) record.time = entry.time;
      if (entry.hasDirection) record.direction = entry.direction;
      record.bytes.assign(bytes.begin(), bytes.end());
      record.note = note;
      cutter.onRecord(record);
    }
    ++pieces;
  }
}

void CaptureRecorder::State::write(const TrafficRecord& record) {
  const bool isTaken = writer->write(record);
  handed.push_back({isTaken ? file.wantedSize() : std::numeric_limits<std::int64_t>::max(),
                    record.bytes.size(), pieces});
  countWritten();
}

void CaptureRecorder::State::countWritten() {
  for (; !handed.empty() && handed.front().end <= file.size(); handed.pop_front()) {
    records.fetch_add(1, std::memory_order_relaxed);
    writtenBytes += handed.front().bytes;
  }
}

void CaptureRecorder::State::fail(const std::string& reason) noexcept {
  file.close();
  countWritten();
  {
    const std::lock_guard lock(mutex);
    hasFailed = true;
    lostBytes += keptBytes - writtenBytes;
    lostPieces += keptPieces - (handed.empty() ? pieces : handed.front().piecesBefore);
    std::vector<std::uint8_t>().swap(waiting);
    waitingBytes = 0;
  }
  if (options.onFailure) options.onFailure(reason);
}

CaptureRecorder::CaptureRecorder(const std::string& path, CaptureOptions options)
    : state_(std::make_unique<State>(path, std::move(options))) {
  const SignalsBlocked blocked;  // SIGPIPE, too, which a pipe without reader raises
  state_->thread = std::thread([state = state_.get()] { state->run(); });
}

CaptureRecorder::~CaptureRecorder() { close(); }

void CaptureRecorder::onBytes(LinkTime time, Direction direction,
                              std::span<const std::uint8_t> bytes, std::string_view note) {
  state_->keep({.time = time.time_since_epoch().count(), .direction = direction}, bytes, note);
}

void CaptureRecorder::onRecord(const TrafficRecord& record) {
  if (!record.bytes.empty() && !mayHaveBytes(record.kind)) {
    throw InvalidArgumentException("A record of kind '" + std::string(recordKindText(record.kind)) +
                                   "' has no bytes");
  }
  state_->keep({.time = record.time.value_or(0),
                .kind = Entry::Kind::kRecord,
                .recordKind = record.kind,
                .direction = record.direction.value_or(Direction::kToDisplay),
                .hasTime = record.time.has_value(),
                .hasDirection = record.direction.has_value()},
               record.bytes, record.note);
}

bool CaptureRecorder::isBehind() const {
  return state_->waitingBytes.load(std::memory_order_relaxed) > state_->options.maxWaitingBytes / 4;
}

bool CaptureRecorder::close() {
  {
    const std::lock_guard lock(state_->mutex);
    state_->isClosing = true;
  }
  state_->file.hurry();
  state_->changed.notify_one();
  if (state_->thread.joinable()) state_->thread.join();
  const Counts now = counts();
  return !now.hasFailed && now.lostPieces == 0;
}

CaptureRecorder::Counts CaptureRecorder::counts() const {
  const std::lock_guard lock(state_->mutex);
  return {state_->records, state_->lostBytes, state_->lostPieces, state_->hasFailed};
}

}  // namespace varno
