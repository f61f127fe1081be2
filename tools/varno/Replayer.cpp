#include "tools/varno/Replayer.h"

#include "tools/varno/AnswerCheck.h"
#include "tools/varno/Failure.h"
#include "tools/varno/LinkArguments.h"

#include <VarnoLink/Duration.h>
#include <VarnoTraffic/Notation.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <utility>

namespace varno::tool {
namespace {

// What came and is not compared yet, before no more is read.
constexpr std::size_t kMostAnswers = 10'000;

LinkOptions linkOptions() {
  LinkOptions options;
  options.reconnects = false;
  return options;
}

Direction otherWay(Direction direction) {
  return direction == Direction::kToDisplay ? Direction::kToPhone : Direction::kToDisplay;
}

}  // namespace

Replayer::Replayer(LinkLoop& loop, Address address, Options options)
    : loop_(loop),
      options_(std::move(options)),
      schedule_(options_.schedule),
      timer_(loop),
      link_(loop, std::move(address), linkOptions(), handlers()) {
  openFile();
}

void Replayer::openFile() {
  source_ = std::make_unique<RecordSource>(options_.file, options_.format, nullptr);
  ++timesRead_;
  sentBefore_ = counts_.sent;
  recordNumber_ = 0;
  schedule_.rewind();
}

LinkHandlers Replayer::handlers() {
  LinkHandlers handlers;
  handlers.onStatus = [this](const LinkStatus& status) { onStatus(status); };
  handlers.onBytes = [this](std::span<const std::uint8_t> bytes) { onBytes(bytes); };
  handlers.onWritten = [this](std::size_t, std::size_t) { goOn(); };
  return handlers;
}

void Replayer::onStatus(const LinkStatus& status) {
  if (status.state == LinkState::kConnecting && status.address.isListening()) {
    tell("ready " + meetingPlace(status.address));
  } else if (status.state == LinkState::kUp) {
    begin_ = loop_.clock().now();
    isRunning_ = true;
    goOn();
  } else if (status.state == LinkState::kDown && !isDone_) {
    fail(kLink, status.address.text() + ": " + shown(status.reason) +
                    (isRunning_ ? ", after record " + std::to_string(recordNumber_) : ""));
  }
}

void Replayer::onBytes(std::span<const std::uint8_t> bytes) {
  show(otherWay(options_.direction), bytes);
  cutter_.feed(bytes, [this](const FrameCutter::Piece& piece) {
    if (piece.kind != RecordKind::kFrame) return;
    ++counts_.received;
    if (options_.expects) answers_.emplace_back(piece.bytes.begin(), piece.bytes.end());
  });
  if (answers_.size() > kMostAnswers) link_.pauseReading();
  goOn();
}

// Does what can be done now, and arranges to be called for the rest.
void Replayer::goOn() {
  if (!isRunning_ || isDone_) return;
  timer_.cancel();
  while (advance()) hasRecord_ = false;
}

// Whether the next record is done with.
bool Replayer::advance() {
  if (isDone_) return false;
  if (!hasRecord_ && !nextRecord()) {
    if (link_.queuedBytes() > 0) return false;  // onWritten comes
    isDone_ = true;
    loop_.stop();
    return false;
  }
  if (!isOurs()) return matchAnswer();
  const LinkTime due = schedule_.due(begin_);
  if (due > loop_.clock().now() && !options_.waitsForEnter) {
    timer_.at(due, [this] { goOn(); });
    return false;
  }
  if (options_.waitsForEnter && entered_ == 0) {
    awaitEnter();
    return false;
  }
  if (!sendRecord()) return false;
  if (options_.waitsForEnter) --entered_;
  return true;
}

// Reads up to the next record that is sent or waited for; false at the end.
bool Replayer::nextRecord() {
  for (;;) {
    while (source_->next(record_)) {
      ++recordNumber_;
      const ReplaySchedule::Part part = schedule_.pass(record_);
      if (part == ReplaySchedule::Part::kBehind) break;
      if (part == ReplaySchedule::Part::kBefore || record_.bytes.empty()) continue;
      const bool isAnswer = options_.expects && record_.kind == RecordKind::kFrame;
      if (isOurs() || isAnswer) return hasRecord_ = true;
    }
    isWhole_ &= source_->isWhole();
    if (timesRead_ == options_.loops || counts_.sent == sentBefore_) return false;
    openFile();
  }
}

bool Replayer::isOurs() const {
  return record_.direction.value_or(options_.direction) == options_.direction;
}

bool Replayer::sendRecord() {
  if (!link_.send(record_.bytes)) {
    if (link_.queuedBytes() == 0) {
      fail(kLink, "record " + std::to_string(recordNumber_) + " of " + shown(options_.file) +
                      " is too long to be sent");
    }
    return false;  // there is no room for it now, and onWritten comes
  }
  ++counts_.sent;
  show(options_.direction, record_.bytes);
  return true;
}

bool Replayer::matchAnswer() {
  const LinkTime now = loop_.clock().now();
  const std::string which =
      "record " + std::to_string(recordNumber_) + " of " + shown(options_.file);
  if (answers_.empty()) {
    if (!askedSince_) askedSince_ = std::max(now, schedule_.due(begin_));
    const LinkTime deadline = *askedSince_ + options_.answerTimeout;
    if (now < deadline) {
      timer_.at(deadline, [this] { goOn(); });
      return false;
    }
    std::string line;
    NotationPrinter(options_.secrets, directory_).append(line, record_);
    fail(kExpectation, which + " did not come within " + durationText(options_.answerTimeout) +
                           ":\n  expected  " + line);
    return false;
  }
  const std::vector<std::uint8_t> answer = std::move(answers_.front());
  answers_.pop_front();
  if (answers_.size() == kMostAnswers / 2) link_.resumeReading();
  if (answer != record_.bytes) {
    fail(kExpectation, "what came differs from " + which + ":\n" +
                           differenceOf(record_.bytes, answer, directory_, options_.secrets));
    return false;
  }
  ++counts_.expected;
  // What follows an answer that was late comes as long after it as it was recorded.
  if (const LinkTime due = schedule_.due(begin_); now > due && askedSince_) begin_ += now - due;
  askedSince_.reset();
  return true;
}

void Replayer::awaitEnter() {
  if (enter_) return;
  std::string line;
  NotationPrinter(options_.secrets, directory_).append(line, record_);
  std::cerr << "next: " + line + " [Enter] ";
  enter_ = std::make_unique<ReadableWatch>(loop_, STDIN_FILENO, [this] {
    std::array<char, 256> typed;
    const ssize_t count = ::read(STDIN_FILENO, typed.data(), typed.size());
    if (count > 0) {
      entered_ += std::count(typed.begin(), typed.begin() + count, '\n');
      if (entered_ == 0) return;
    }
    enter_.reset();
    if (count <= 0) {
      std::cerr << "\n";
      return fail(kLink, "nobody is there to press Enter any more");
    }
    goOn();
  });
}

void Replayer::fail(int code, const std::string& message) {
  isDone_ = true;
  failureCode_ = code;
  failure_ = message;
  loop_.stop();
}

void Replayer::show(Direction direction, std::span<const std::uint8_t> bytes) {
  const LinkTime now = loop_.clock().now();
  for (TrafficObserver* const observer : observers_) observer->onBytes(now, direction, bytes, {});
}

bool Replayer::finish() {
  if (!isDone_) throw Failure(kLink, "stopped before the end");
  if (failureCode_ != 0) throw Failure(static_cast<ExitCode>(failureCode_), failure_);
  return isWhole_;
}

}  // namespace varno::tool
