#include "tools/varno/Failure.h"
#include "tools/varno/FileBuffers.h"
#include "tools/varno/LinkArguments.h"
#include "tools/varno/LiveDisplay.h"
#include "tools/varno/Scenarios.h"
#include "tools/varno/Subcommand.h"

#ifdef VARNO_HAS_PAGE
#include "tools/varno/DisplayPage.h"
#include "tools/varno/PageArguments.h"
#endif

#include <VarnoDisplay/ScenarioResult.h>
#include <VarnoLink/LinkWatch.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace varno::tool {
namespace {

struct DisplayArguments {
  std::string address;
  std::string scenario;
  std::string record;
  bool isHeadless = false;
  bool stays = false;
  bool showsSecrets = false;

  Secrets secrets() const { return showsSecrets ? Secrets::kShown : Secrets::kHidden; }
#ifdef VARNO_HAS_PAGE
  PageArguments page;
#endif
};

// As "12 packets received, 3 sent; 2 torn frames, 20 bytes of noise".
std::string countsText(LiveDisplay& live) {
  const SimulatedDisplay& display = live.display();
  const FrameCutter::Counts& counts = display.receivedCounts();
  std::string text = counted(display.packetsReceived(), "packet") + " received, " +
                     std::to_string(display.packetsSent()) + " sent";
  const char* separator = "; ";
  const auto add = [&](std::uint64_t count, const std::string& what) {
    if (count == 0) return;
    text.append(separator).append(what);
    separator = ", ";
  };
  const std::uint64_t unread = counts.frames - display.packetsReceived();
  add(unread, counted(unread, "frame") + " without a known packet");
  add(counts.tornFrames, counted(counts.tornFrames, "torn frame"));
  add(counts.shortFrames, counted(counts.shortFrames, "short frame"));
  add(counts.longFrames, counted(counts.longFrames, "frame") + " too long");
  add(counts.noiseBytes, counted(counts.noiseBytes, "byte") + " of noise");
  add(live.refusedBytes(), counted(live.refusedBytes(), "byte") + " that the phone did not read");
  return text;
}

class DisplayProgram {
 public:
  DisplayProgram(const DisplayArguments& arguments, Address address, const Scenario* scenario,
                 CaptureRecorder* recorder)
      : arguments_(arguments),
        recorder_(recorder),
        output_("-"),
        signals_(loop_, [this](int) { loop_.stop(); }),
        live_(loop_, std::move(address), options(scenario), scenario, handlers()) {}

  int run() {
#ifdef VARNO_HAS_PAGE
    if (arguments_.page.isWanted()) openPage();
#endif
    live_.start();
    loop_.run();
    live_.end();
    int code = kSuccess;
    if (!trouble_.empty()) {
      tell(shown(arguments_.address) + ": " + shown(trouble_));
      code = kLink;
    }
    if (live_.result() != nullptr && !verdict_ && code == kSuccess) {
      if (live_.result()->outcome == ScenarioOutcome::kRunning) tell("interrupted");
      tellResult();
    }
    if (code == kSuccess) code = verdict_.value_or(kSuccess);
    output_.flush();
    tell(countsText(live_));
    const int recorded = closeRecorder(recorder_, arguments_.record);
    return code == kSuccess ? recorded : code;
  }

 private:
  static DisplayOptions options(const Scenario* scenario) {
    DisplayOptions options;
    options.maxHistory = 0;  // nobody asks for it
    if (scenario != nullptr) options.seed = seedOf(*scenario, {});
    return options;
  }

  LiveDisplay::Handlers handlers() {
    LiveDisplay::Handlers handlers{
        .onReady =
            [this](const Address& address) {
              output_.write("ready " + address.text() + "\n");
              output_.flush();
#ifdef VARNO_HAS_PAGE
              if (page_) page_->setAddress(address.text());
#endif
            },
        .onTrouble = [](const std::string& reason) { tell(shown(reason) + "; trying again"); },
        .onUseless =
            [this](const std::string& reason) {
              trouble_ = reason;
              loop_.stop();
            },
        .onDone =
            [this] {
              output_.flush();
#ifdef VARNO_HAS_PAGE
              if (page_) page_->onDone();
#endif
            },
        .onPlayed =
            [this] {
              if (!arguments_.stays) return loop_.stop();
              tellResult();
              output_.flush();
            }};
    if (!arguments_.isHeadless) {
      handlers.onChange = [this](const StateChange& change) {
        output_.write(change.text() + "\n");
      };
    }
    if (recorder_ != nullptr) {
      handlers.onRecord = [this](const TrafficRecord& record) { recorder_->onRecord(record); };
    }
#ifdef VARNO_HAS_PAGE
    if (arguments_.page.isWanted()) {
      handlers.onChange = [this, next = std::move(handlers.onChange)](const StateChange& change) {
        if (next) next(change);
        if (page_) page_->onChange(change);
      };
      handlers.onRecord = [this, next = std::move(handlers.onRecord)](const TrafficRecord& record) {
        if (next) next(record);
        if (page_) page_->onRecord(record);
      };
    }
#endif
    return handlers;
  }

#ifdef VARNO_HAS_PAGE
  void openPage() {
    PageOptions options = arguments_.page.options();
    options.title = "Simulated display";
    options.secrets = arguments_.secrets();
    page_ = std::make_unique<DisplayPage>(loop_, live_, std::move(options));
    output_.write("page " + page_->address() + "\n");
  }
#endif

  void tellResult() {
    const ScenarioResult& result = *live_.result();
    if (result.failure) output_.write(result.failure->text() + "\n");
    output_.write(verdictText(arguments_.scenario, result, loop_.clock().now() - begin_));
    verdict_ = codeOf(result.outcome);
  }

  const DisplayArguments& arguments_;
  CaptureRecorder* recorder_;
  OutputFile output_;
  LinkLoop loop_;
  const LinkTime begin_ = loop_.clock().now();
  SignalWatch signals_;
  LiveDisplay live_;
#ifdef VARNO_HAS_PAGE
  std::unique_ptr<DisplayPage> page_;
#endif
  std::optional<int> verdict_;  // of the scenario, once it was told
  std::string trouble_;
};

int run(const DisplayArguments& arguments) {
  Address address = addressFrom(arguments.address);
  std::optional<Scenario> scenario;
  if (!arguments.scenario.empty()) {
    scenario = scenarioIn(arguments.scenario);
    if (!scenario) return kUnreadable;
    if (roleOf(*scenario, {}) != ScenarioRole::kDisplay) {
      throw Failure(kUsage, shown(arguments.scenario) +
                                ": the scenario is a phone's, and is for varno run: expected one "
                                "without \"option as=phone\"");
    }
  }
  refuseSameFile(arguments.scenario, arguments.record);
  const std::unique_ptr<CaptureRecorder> recorder =
      recorderFor(arguments.record, {.secrets = arguments.secrets()});
  DisplayProgram program(arguments, std::move(address), scenario ? &*scenario : nullptr,
                         recorder.get());
  return program.run();
}

}  // namespace

Run defineDisplay(CLI::App& app) {
  const auto arguments = std::make_shared<DisplayArguments>();
  app.add_option("ADDRESS", arguments->address,
                 "Where the phone is, or is to come: as tcp-listen://127.0.0.1:4711,\n"
                 "unix-listen:///run/display, serial:///dev/ttyUSB0?baud=115200, pty://")
      ->required()
      ->type_name("");
  app.add_option("--scenario", arguments->scenario,
                 "Play this scenario besides, and end with it; what one of its `on`\n"
                 "answers, the display does not")
      ->type_name("FILE");
  app.add_flag("--stay", arguments->stays, "Go on when the scenario has ended, until Ctrl-C");
  app.add_option("--record", arguments->record,
                 "Write what passes into this file, in the format of its ending")
      ->type_name("FILE");
  app.add_flag("--secrets", arguments->showsSecrets,
               "Passwords and keys in text and JSON, and on the page, too");
  app.add_flag("--headless", arguments->isHeadless, "Print no changes");
#ifdef VARNO_HAS_PAGE
  arguments->page.defineOptional(app);
#endif
  return [arguments] { return run(*arguments); };
}

}  // namespace varno::tool
