#include "tools/varno/Failure.h"
#include "tools/varno/LinkArguments.h"
#include "tools/varno/Subcommand.h"
#include "tools/varno/TrafficOutputs.h"
#include "tools/varno/WholeNumber.h"

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
  std::vector<std::string> faults;
  std::optional<std::uint64_t> seed;
  TrafficArguments traffic;
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
    tell("ready " + meetingPlace(relay_.status(RelaySide::kPhone).address) + " " +
         meetingPlace(relay_.status(RelaySide::kDisplay).address) + more);
  }

  LinkLoop& loop_;
  const Relay& relay_;
  std::optional<std::string> more_;
  std::array<One, 2> sides_;
  std::string failure_;
};

// records: of those that were printed, null where none are.
void tellCounts(const Relay& relay, const DecodeOutput::Tally* records) {
  std::string text;
  if (records != nullptr) text = records->text() + "; ";
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
  TrafficOutputs outputs(loop, arguments.traffic);

  RelayOptions options;
  options.seed = arguments.seed ? *arguments.seed : std::random_device()();
  Relay relay(loop, phoneSide, displaySide, options);
  outputs.observe(relay);
  for (const DirectedFault& fault : faults) {
    for (const Direction direction : kDirections) {
      if (fault.direction.value_or(direction) == direction) relay.addFault(direction, fault.fault);
    }
  }
  std::optional<std::string> more;
  if (!outputs.isExtcap()) more = faults.empty() ? "" : ", seed " + std::to_string(options.seed);
  SideReport report(loop, relay, std::move(more));
#ifdef VARNO_HAS_PAGE
  std::unique_ptr<TapPage> page;
  if (arguments.page.isWanted()) {
    PageOptions pageOptions = arguments.page.options();
    pageOptions.title = "Tap between " + arguments.phoneSide + " and " + arguments.displaySide;
    pageOptions.secrets = arguments.traffic.secrets();
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
  const int code = outputs.close();
  if (!report.failure().empty()) throw Failure(kLink, report.failure());
  if (!outputs.isExtcap()) tellCounts(relay, outputs.tally());
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
  arguments->traffic.define(app);
  arguments->traffic.defineExtcap(app);
  app.add_option("--fault", arguments->faults,
                 "Put a fault in, as '< corrupt byte=7 count=1' or 'latency delay=50ms';\n"
                 "repeated, they act in this order")
      ->type_name("FAULT")
      ->allow_extra_args(false)
      ->group("Faults");
  app.add_option("--seed", arguments->seed,
                 "Of the faults' chances: the same seed, the same faults")
      ->check(wholeNumber())
      ->type_name("N")
      ->group("Faults");
#ifdef VARNO_HAS_PAGE
  arguments->page.defineOptional(app);
#endif
  return [arguments] { return run(*arguments); };
}

}  // namespace varno::tool
