#include "tools/varno/Failure.h"
#include "tools/varno/LinkArguments.h"
#include "tools/varno/LiveOutput.h"
#include "tools/varno/Subcommand.h"

#ifdef VARNO_HAS_PAGE
#include "tools/varno/PageArguments.h"
#include "tools/varno/TapPage.h"
#endif

#include <VarnoLink/LinkWatch.h>
#include <VarnoLink/Relay.h>

#include <array>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace varno::tool {
namespace {

struct TapArguments {
  std::string phoneSide;
  std::string displaySide;
  std::string record;
  std::string extcap;
  std::vector<std::string> faults;
  std::optional<std::uint64_t> seed;
  bool json = false;
  bool isQuiet = false;
  bool showsSecrets = false;
#ifdef VARNO_HAS_PAGE
  PageArguments page;
#endif
};

constexpr std::array kDirections = {Direction::kToDisplay, Direction::kToPhone};

// Tells that the two sides can be used, once, and why one cannot be had. That they come and go is
// among the records.
class SideReport {
 public:
  // more: behind the line that tells it; without one, that is not told.
  SideReport(LinkLoop& loop, const Relay& relay, std::optional<std::string> more)
      : loop_(loop), relay_(relay), more_(std::move(more)) {}

  void onStatus(RelaySide side, const LinkStatus& status) {
    One& one = sides_[static_cast<std::size_t>(side)];
    const bool wasUp = std::exchange(one.isUp, status.state == LinkState::kUp);
    const std::string name(relaySideText(side));
    if (status.state != LinkState::kDown) {
      one.hasStood = true;
      if (one.isUp) one.trouble.clear();
      if (one.isUp && !status.reason.empty()) {
        tell(name + ": " + shown(status.reason));
      }
      tellReady();
    } else if (!one.hasStood && status.address.isListening()) {
      failure_ = name + ", " + status.address.text() + ": " + shown(status.reason);
      loop_.stop();
    } else if (!wasUp && one.trouble != status.reason) {
      one.trouble = status.reason;
      tell(name + ": " + shown(status.reason) + "; trying again");
    }
  }

  // Why there is no use in going on; empty where there is.
  const std::string& failure() const { return failure_; }

 private:
  struct One {
    bool hasStood = false;  // listens, or has begun to connect
    bool isUp = false;
    std::string trouble;
  };

  void tellReady() {
    if (!more_ || !sides_[0].hasStood || !sides_[1].hasStood) return;
    const std::string more = *std::exchange(more_, std::nullopt);
    tell("ready " + relay_.status(RelaySide::kPhone).address.text() + " " +
         relay_.status(RelaySide::kDisplay).address.text() + more);
  }

  LinkLoop& loop_;
  const Relay& relay_;
  std::optional<std::string> more_;
  std::array<One, 2> sides_;
  std::string failure_;
};

std::string counted(std::uint64_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

void tellCounts(const Relay& relay, const LiveOutput* output) {
  std::string text;
  if (output != nullptr) text = output->tally().text() + "; ";
  tell(text + counted(relay.passedBytes(Direction::kToDisplay), "byte") + " to the display, " +
       counted(relay.passedBytes(Direction::kToPhone), "byte") + " to the phone");
  for (const Direction direction : kDirections) {
    for (const FaultStage::Entry& entry : relay.faults(direction)) {
      tell("fault '" + faultText(DirectedFault{direction, entry.fault}) + "' acted on " +
           counted(entry.acted, "frame"));
    }
  }
}

int run(const TapArguments& arguments) {
  const Address phoneSide = addressFrom(arguments.phoneSide);
  const Address displaySide = addressFrom(arguments.displaySide);
  std::vector<DirectedFault> faults;
  for (const std::string& text : arguments.faults) faults.push_back(faultFrom(text));

  LinkLoop loop;
  const Secrets secrets = arguments.showsSecrets ? Secrets::kShown : Secrets::kHidden;
  const auto recorder = recorderFor(arguments.record, {.secrets = secrets});
  // Whoever reads the live capture ends this program by going.
  const auto live = recorderFor(
      arguments.extcap,
      {.format = CaptureFormat::kPcapng, .onFailure = [&](const std::string&) { loop.stop(); }});
  std::optional<LiveOutput> output;
  if (!arguments.isQuiet && arguments.extcap.empty()) {
    DecodeOutput::Options options;
    options.form = arguments.json ? DecodeOutput::Form::kJson : DecodeOutput::Form::kText;
    options.showsSecrets = arguments.showsSecrets;
    output.emplace(loop, options);
  }

  RelayOptions options;
  options.seed = arguments.seed ? *arguments.seed : std::random_device()();
  Relay relay(loop, phoneSide, displaySide, options);
  if (recorder) relay.addObserver(*recorder);
  if (live) relay.addObserver(*live);
  if (output) relay.addObserver(*output);
  for (const DirectedFault& fault : faults) {
    for (const Direction direction : kDirections) {
      if (fault.direction.value_or(direction) == direction) relay.addFault(direction, fault.fault);
    }
  }
  // What is said of a live capture, Wireshark would take for an error.
  std::optional<std::string> more;
  if (!live) more = faults.empty() ? "" : ", seed " + std::to_string(options.seed);
  SideReport report(loop, relay, std::move(more));
#ifdef VARNO_HAS_PAGE
  std::unique_ptr<TapPage> page;
  if (arguments.page.isWanted()) {
    PageOptions pageOptions = arguments.page.options();
    pageOptions.title = "Tap between " + arguments.phoneSide + " and " + arguments.displaySide;
    pageOptions.secrets = secrets;
    page = std::make_unique<TapPage>(loop, relay, std::move(pageOptions));
    tell("page " + page->address());
  }
#endif
  relay.setOnStatus([&](RelaySide side, const LinkStatus& status) {
    report.onStatus(side, status);
#ifdef VARNO_HAS_PAGE
    if (page) page->onStatus();
#endif
  });
  const SignalWatch signals(loop, [&](int) { loop.stop(); });
  relay.open();
  loop.run();

#ifdef VARNO_HAS_PAGE
  page.reset();
#endif
  relay.close();
  if (output) output->finish(loop.clock().now());
  const int code = closeRecorder(recorder.get(), arguments.record);
  if (live) live->close();
  if (!report.failure().empty()) throw Failure(kLink, report.failure());
  if (!live) tellCounts(relay, output ? &*output : nullptr);
  return code;
}

}  // namespace

Run defineTap(CLI::App& app) {
  const auto arguments = std::make_shared<TapArguments>();
  app.add_option("PHONE-SIDE", arguments->phoneSide,
                 "Where the phone comes, or is: tcp-listen://127.0.0.1:4711, pty://, ...")
      ->required()
      ->type_name("");
  app.add_option("DISPLAY-SIDE", arguments->displaySide,
                 "Where the display is, or comes: tcp://192.168.43.1:4711,\n"
                 "serial:///dev/ttyUSB0?baud=115200, unix:///run/display, ...")
      ->required()
      ->type_name("");
  app.add_flag("--json", arguments->json, "Print each record as a line of JSON");
  app.add_flag("--quiet", arguments->isQuiet, "Print no records");
  app.add_option("--record", arguments->record,
                 "Write what passes into this file: .pcapng, .txt, .json, .jsonl")
      ->type_name("FILE");
  app.add_option("--fault", arguments->faults,
                 "Put a fault in, as '< corrupt byte=7 count=1' or 'latency delay=50ms';\n"
                 "repeated, they act in this order")
      ->type_name("FAULT")
      ->allow_extra_args(false)
      ->group("Faults");
  app.add_option("--seed", arguments->seed,
                 "Of the faults' chances: the same seed, the same faults")
      ->type_name("N")
      ->group("Faults");
  app.add_flag("--secrets", arguments->showsSecrets, "Passwords and keys in text and JSON, too");
  app.add_option("--extcap", arguments->extcap,
                 "Print nothing, and write a live capture into this pipe, for Wireshark")
      ->type_name("PIPE");
#ifdef VARNO_HAS_PAGE
  arguments->page.defineOptional(app);
#endif
  return [arguments] { return run(*arguments); };
}

}  // namespace varno::tool
