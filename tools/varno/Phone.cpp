#include "tools/varno/Failure.h"
#include "tools/varno/FileBuffers.h"
#include "tools/varno/LineInput.h"
#include "tools/varno/LinkArguments.h"
#include "tools/varno/Subcommand.h"

#include <VarnoLink/Link.h>
#include <VarnoLink/LinkTimer.h>
#include <VarnoLink/LinkWatch.h>
#include <VarnoNetwork/Network/Command/KeepAliveCommandPacket.h>
#include <VarnoTraffic/FrameCutter.h>
#include <VarnoTraffic/Notation.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <memory>
#include <optional>
#include <string>

namespace varno::tool {
namespace {

struct PhoneArguments {
  std::string address;
  std::string record;
  std::string keepAlive;
  std::string stay = "1s";
  std::string wait = "30s";
  bool showsSecrets = false;
};

// A phone that a person plays. On the loop's thread.
class ManualPhone {
 public:
  ManualPhone(LinkLoop& loop, const PhoneArguments& arguments, CaptureRecorder* recorder)
      : loop_(loop),
        printer_(arguments.showsSecrets ? Secrets::kShown : Secrets::kHidden),
        recorder_(recorder),
        stay_(durationFrom(arguments.stay, "--stay")),
        wait_(durationFrom(arguments.wait, "--wait")),
        link_(loop, addressFrom(arguments.address), options(), handlers()),
        timer_(loop),
        keepAliveTimer_(loop) {
    if (!arguments.keepAlive.empty()) {
      keepAlive_ = durationFrom(arguments.keepAlive, "--keep-alive");
      if (keepAlive_->count() == 0) throw Failure(kUsage, "--keep-alive: '0' is no pause");
    }
  }

  // What to end with.
  int run() {
    link_.open();
    timer_.after(wait_, [this] { end(kLink, "nobody is there"); });
    loop_.run();
    input_.reset();
    tellUnsent();
    if (!trouble_.empty()) tell(link_.status().address.text() + ": " + shown(trouble_));
    return code_;
  }

 private:
  // How many lines wait is of no matter: see sendWaiting.
  static LinkOptions options() {
    LinkOptions options;
    options.maxQueuedSends = std::numeric_limits<std::size_t>::max();
    return options;
  }

  LinkHandlers handlers() {
    return {.onStatus = [this](const LinkStatus& status) { onStatus(status); },
            .onBytes = [this](std::span<const std::uint8_t> bytes) { onBytes(bytes); },
            .onWritten = [this](std::size_t, std::size_t) { sendWaiting(); }};
  }

  void end(int code, std::string trouble) {
    code_ = code;
    trouble_ = std::move(trouble);
    loop_.stop();
  }

  // Where a signal ends it before what is piped in was sent.
  void tellUnsent() {
    if (!wasUp_) {
      code_ = kLink;
      if (trouble_.empty()) trouble_ = "interrupted; nobody was there";
    } else if (trouble_.empty() && (!waiting_.empty() || link_.queuedBytes() > 0)) {
      code_ = kLink;
      trouble_ = "interrupted before all was sent";
    }
  }

  void onStatus(const LinkStatus& status) {
    if (status.state == LinkState::kUp) {
      wasUp_ = true;
      timer_.cancel();
      show({.kind = RecordKind::kLinkUp});
      if (keepAlive_) keepAlive();
      goOn();
    } else if (status.state == LinkState::kConnecting) {
      if (status.address.isListening() && !std::exchange(isReady_, true)) {
        tell("ready " + meetingPlace(status.address));
      }
    } else {
      onDown(status);
    }
  }

  void onDown(const LinkStatus& status) {
    keepAliveTimer_.cancel();
    if (const auto rest = cutter_.finish()) showPiece(*rest);
    if (!input_) {
      if (!isReady_ && status.address.isListening()) return end(kLink, status.reason);
      if (std::exchange(trouble_, status.reason) != status.reason) tell(shown(status.reason));
      return;
    }
    show({.kind = RecordKind::kLinkDown, .note = status.reason});
    // Somebody at a terminal may wait for the display; a file would be sent into the void.
    if (input_->isTerminal()) return;
    const bool isAllSent = hasEnded_ && !staying_;
    end(isAllSent ? code_ : int{kLink}, isAllSent ? "" : status.reason);
  }

  // Takes lines from here on.
  void goOn() {
    trouble_.clear();
    if (input_) return;
    input_.emplace(
        loop_, reader_.directory(), [this](const std::string& line) { onLine(line); },
        [this] { onInputEnd(); });
  }

  void onLine(const std::string& line) {
    ++lines_;
    if (NotationReader::isBlank(line)) return;
    NotationError error;
    TrafficRecord record;
    const bool isRead = reader_.read(line, record, error);
    if (!isRead || !mayHaveBytes(record.kind)) {
      if (isRead)
        error = {.column = 1,
                 .found = line.substr(0, line.find(' ')),
                 .expected = "a packet type, or raw or noise and bytes",
                 .nearest = {}};
      const bool isTyped = input_->isTerminal();
      tell((isTyped ? "" : "line " + std::to_string(lines_) + ", ") + error.text() + "\n" +
           error.pointTo(line));
      if (!isTyped) code_ = kUnreadable;
      return;
    }
    waiting_.push_back(
        {.direction = Direction::kToDisplay, .kind = record.kind, .bytes = record.bytes});
    sendWaiting();
  }

  // What is piped in waits for a display that reads slowly, and so does the pipe.
  void sendWaiting() {
    while (!waiting_.empty()) {
      const bool isHeldUp = link_.status().state == LinkState::kUp &&
                            link_.queuedBytes() > kMostQueued && !input_->isTerminal();
      if (isHeldUp) return input_->pause();
      send(waiting_.front());
      waiting_.pop_front();
    }
    if (input_) input_->resume();
    stayWhenSent();
  }

  void stayWhenSent() {
    if (!staying_ || !waiting_.empty() || link_.queuedBytes() > 0) return;
    staying_ = false;
    timer_.after(stay_, [this] { loop_.stop(); });
  }

  void send(const TrafficRecord& record) {
    if (!link_.send(record.bytes)) {
      tell(link_.status().state == LinkState::kUp
               ? "not sent: the display does not read what was sent before"
               : "not sent: the link is down");
      code_ = kLink;
      return;
    }
    keep(record);
  }

  void keepAlive() {
    send({.direction = Direction::kToDisplay,
          .kind = RecordKind::kFrame,
          .bytes = frameOf(KeepAliveCommandPacket())});
    keepAliveTimer_.after(*keepAlive_, [this] { keepAlive(); });
  }

  void onInputEnd() {
    hasEnded_ = true;
    if (input_->isTerminal()) return loop_.stop();
    staying_ = true;
    stayWhenSent();
  }

  void onBytes(std::span<const std::uint8_t> bytes) {
    cutter_.feed(bytes, [this](const FrameCutter::Piece& piece) { showPiece(piece); });
  }

  void showPiece(const FrameCutter::Piece& piece) {
    show({.direction = Direction::kToPhone,
          .kind = piece.kind,
          .bytes = {piece.bytes.begin(), piece.bytes.end()}});
  }

  // Of what was sent there is no need to tell.
  void keep(TrafficRecord record) {
    record.time = loop_.clock().now().time_since_epoch().count();
    if (recorder_ != nullptr) recorder_->onRecord(record);
  }

  void show(TrafficRecord record) {
    record.time = loop_.clock().now().time_since_epoch().count();
    std::string text;
    printer_.append(text, record);
    text += '\n';
    if (input_) {
      input_->print(text);
    } else {
      print(text);
    }
    if (recorder_ != nullptr) recorder_->onRecord(record);
  }

  static constexpr std::size_t kMostQueued = std::size_t{1} << 20;

  LinkLoop& loop_;
  NotationReader reader_;
  NotationPrinter printer_;
  CaptureRecorder* recorder_;
  std::chrono::nanoseconds stay_;
  std::chrono::nanoseconds wait_;
  std::optional<std::chrono::nanoseconds> keepAlive_;
  Link link_;
  LinkTimer timer_;
  LinkTimer keepAliveTimer_;
  FrameCutter cutter_;
  std::deque<TrafficRecord> waiting_;
  std::optional<LineInput> input_;
  std::uint64_t lines_ = 0;
  bool isReady_ = false;
  bool wasUp_ = false;
  bool hasEnded_ = false;
  bool staying_ = false;  // once all of it was sent
  int code_ = kSuccess;
  std::string trouble_;
};

int run(const PhoneArguments& arguments) {
  const std::unique_ptr<CaptureRecorder> recorder = recorderFor(arguments.record);
  LinkLoop loop;
  const SignalWatch signals(loop, [&](int) { loop.stop(); });
  const int code = ManualPhone(loop, arguments, recorder.get()).run();
  const int recorded = closeRecorder(recorder.get(), arguments.record);
  return code == kSuccess ? recorded : code;
}

}  // namespace

Run definePhone(CLI::App& app) {
  const auto arguments = std::make_shared<PhoneArguments>();
  app.add_option("ADDRESS", arguments->address,
                 "Where the display is, or is to come: tcp://192.168.43.1:4711,\n"
                 "unix:///run/display, serial:///dev/ttyUSB0?baud=115200")
      ->required()
      ->type_name("");
  app.add_option("--keep-alive", arguments->keepAlive, "Send a KeepAlive every T")->type_name("T");
  app.add_option("--stay", arguments->stay,
                 "How long to show what comes when standard input has ended (1s)")
      ->type_name("T");
  app.add_option("--wait", arguments->wait, "How long to wait for the display (30s)")
      ->type_name("T");
  app.add_option("--record", arguments->record,
                 "Write what passes into this file, in the format of its ending")
      ->type_name("FILE");
  app.add_flag("--secrets", arguments->showsSecrets, "Show passwords and keys");
  return [arguments] { return run(*arguments); };
}

}  // namespace varno::tool
