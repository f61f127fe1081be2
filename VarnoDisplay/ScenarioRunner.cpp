#include <VarnoDisplay/ScenarioRunner.h>

#include <VarnoDisplay/Private/FlagScope.h>
#include <VarnoDisplay/Private/ScenarioReport.h>
#include <VarnoLink/Duration.h>

#include <algorithm>
#include <deque>
#include <string>
#include <utility>

namespace varno {
namespace {

constexpr std::size_t kLastRecords = 8;
constexpr std::size_t kMostWaiting = 100'000;
constexpr std::size_t kMostPassedOver = 100;
constexpr std::size_t kMostAnswersAtOnce = 10'000;

LinkTime later(LinkTime time, std::chrono::nanoseconds duration) {
  return duration > LinkTime::max() - time ? LinkTime::max() : time + duration;
}

}  // namespace

struct ScenarioRunner::State {
  // A frame that came.
  struct Arrival {
    std::vector<std::uint8_t> frame;
    std::shared_ptr<const HudPacket> packet;
  };
  // What is ignored, or answered.
  struct Standing {
    PacketPattern pattern;
    const ScenarioStatement* answer = nullptr;
  };
  struct Answer {
    Arrival arrival;
    Standing standing;
  };
  enum class Step : std::uint8_t { kDone, kWaits, kEnded };

  State(const Scenario& its, const Clock& itsClock, ScenarioWire& itsWire,
        ScenarioOptions itsOptions);

  void run();
  Step step(const ScenarioStatement& statement);
  Step run(const SendStatement& send);
  Step run(const ExpectStatement& expect);
  Step run(const ExpectLinkStatement& expect);
  Step run(const RejectStatement& reject);
  Step run(const IgnoreStatement& ignore);
  Step run(const AnswerStatement& answer);
  Step run(const FaultStatement& fault);
  Step run(const LinkStatement& link);
  Step run(const WaitStatement& wait);

  Step waitUntil(std::chrono::nanoseconds duration);
  Step fail(std::string reason, const PacketPattern* wanted = nullptr,
            const HudPacket* nearest = nullptr, ScenarioOutcome outcome = ScenarioOutcome::kFailed);
  Step failByArrival(const PacketPattern& wanted, const Arrival& arrival, std::string reason);
  Step missing(const ExpectStatement& expect, const PacketPattern& wanted);
  Step notUp();
  void finishCase(ScenarioCase::Status status);

  const Standing* standingFor(const Arrival& arrival) const;
  bool isRejected(const Arrival& arrival);
  std::optional<PacketPattern> resolve(const ScenarioPattern& wanted);
  std::optional<std::vector<std::uint8_t>> resolve(const ScenarioPacket& packet);
  void send(const Answer& answer);

  const Scenario& scenario;
  const Clock& clock;
  ScenarioWire& wire;
  ScenarioOptions options;
  NotationReader reader;
  NotationVariables variables;
  ScenarioResult result;

  bool isStarted = false;
  bool isRunning = false;
  bool isUp = false;
  bool wasUp = false;
  bool isClosed = false;  // by the scenario
  bool isLost = false;    // it went down, and neither side has brought it up again
  std::size_t at = 0;     // the statement
  std::size_t nextCase = 0;
  bool hasBegun = false;  // the statement
  LinkTime begun{};
  std::optional<LinkTime> due;
  std::optional<PacketPattern> pattern;  // the one that is waited for, or must not come

  std::vector<Standing> standing;
  std::deque<Arrival> waiting;
  std::deque<Answer> answers;
  const ScenarioStatement* answering = nullptr;
  std::deque<Arrival> passedOver;  // since the statement began
  std::deque<TrafficRecord> records;
  LinkTime answered{};
  std::size_t answersAtOnce = 0;
};

ScenarioRunner::State::State(const Scenario& its, const Clock& itsClock, ScenarioWire& itsWire,
                             ScenarioOptions itsOptions)
    : scenario(its),
      clock(itsClock),
      wire(itsWire),
      options(std::move(itsOptions)),
      reader(options.directory),
      variables(its.variables) {
  result.seed = seedOf(scenario, options);
  for (const ScenarioStatement& statement : scenario.statements) {
    if (!isScenarioCase(statement)) continue;
    result.cases.push_back({.file = scenario.files[statement.place.file],
                            .place = statement.place,
                            .statement = scenarioStatementText(statement)});
  }
}

void ScenarioRunner::State::run() {
  // What comes inside the wire's operations is only put down; the loop below, further out, goes on.
  if (isRunning || !isStarted || result.outcome != ScenarioOutcome::kRunning) return;
  const FlagScope running(isRunning);
  while (result.outcome == ScenarioOutcome::kRunning) {
    if (!answers.empty()) {
      const Answer answer = std::move(answers.front());
      answers.pop_front();
      send(answer);
    } else if (at == scenario.statements.size()) {
      result.outcome = ScenarioOutcome::kPassed;
      due.reset();
    } else {
      const ScenarioStatement& statement = scenario.statements[at];
      if (!hasBegun) {
        hasBegun = true;
        begun = clock.now();
        passedOver.clear();
      }
      // Before the link is up for the first time, nothing counts, but that it comes up.
      const auto* const link = std::get_if<ExpectLinkStatement>(&statement.what);
      const bool mayStep = wasUp || (link != nullptr && link->isUp);
      const Step done = mayStep ? step(statement) : notUp();
      if (done == Step::kWaits && answers.empty()) break;
      // What came inside the wire's operations may have ended it.
      if (done != Step::kDone || result.outcome != ScenarioOutcome::kRunning) continue;
      if (isScenarioCase(statement)) finishCase(ScenarioCase::Status::kPassed);
      ++at;
      hasBegun = false;
      due.reset();
      pattern.reset();
    }
  }
}

ScenarioRunner::State::Step ScenarioRunner::State::step(const ScenarioStatement& statement) {
  return std::visit([&](const auto& what) { return run(what); }, statement.what);
}

ScenarioRunner::State::Step ScenarioRunner::State::run(const SendStatement& send) {
  if (!isUp) return notUp();
  const auto bytes = resolve(send.packet);
  if (!bytes) return Step::kEnded;
  wire.send(*bytes);
  return Step::kDone;
}

ScenarioRunner::State::Step ScenarioRunner::State::run(const ExpectStatement& expect) {
  if (!pattern) pattern = resolve(expect.pattern);
  if (!pattern) return Step::kEnded;
  while (!waiting.empty()) {
    const Arrival arrival = std::move(waiting.front());
    waiting.pop_front();
    const Standing* const ignored = standingFor(arrival);
    if (ignored != nullptr && ignored->answer == nullptr) continue;  // from after it came on
    if (!pattern->matches(arrival.frame, arrival.packet.get())) {
      return failByArrival(*pattern, arrival, "another packet came");
    }
    if (arrival.packet != nullptr) pattern->bind(*arrival.packet, variables);
    return Step::kDone;
  }
  const Step waited = waitUntil(expect.within);
  return waited == Step::kDone ? missing(expect, *pattern) : waited;
}

ScenarioRunner::State::Step ScenarioRunner::State::run(const ExpectLinkStatement& expect) {
  if (isUp == expect.isUp) return Step::kDone;
  if (expect.isUp && !due) {  // at its beginning
    isClosed = false;
    wire.open();
    if (isUp) return Step::kDone;
  }
  if (waitUntil(expect.within) == Step::kWaits) return Step::kWaits;
  return fail(std::string("the link did not ") + (expect.isUp ? "come up" : "go down") +
              " within " + durationText(expect.within));
}

ScenarioRunner::State::Step ScenarioRunner::State::run(const RejectStatement& reject) {
  if (!pattern) {
    pattern = resolve(reject.pattern);
    if (!pattern) return Step::kEnded;
    for (const Arrival& arrival : waiting) {
      if (isRejected(arrival)) return Step::kEnded;
    }
  }
  return waitUntil(reject.duration);
}

ScenarioRunner::State::Step ScenarioRunner::State::run(const IgnoreStatement& ignore) {
  const auto resolved = resolve(ignore.pattern);
  if (!resolved) return Step::kEnded;
  standing.push_back({*resolved});
  return Step::kDone;
}

ScenarioRunner::State::Step ScenarioRunner::State::run(const AnswerStatement& answer) {
  const auto resolved = resolve(answer.pattern);
  if (!resolved) return Step::kEnded;
  standing.push_back({*resolved, &scenario.statements[at]});
  return Step::kDone;
}

ScenarioRunner::State::Step ScenarioRunner::State::run(const FaultStatement& fault) {
  for (const Direction direction : {Direction::kToDisplay, Direction::kToPhone}) {
    if (fault.fault.direction.value_or(direction) == direction) {
      wire.addFault(direction, fault.fault.fault);
    }
  }
  return Step::kDone;
}

ScenarioRunner::State::Step ScenarioRunner::State::run(const LinkStatement& link) {
  if (link.action == LinkStatement::Action::kOpen) {
    isClosed = false;
    isLost = false;
    wire.open();
    return Step::kDone;
  }
  isClosed = true;
  isUp = false;
  answers.clear();
  if (link.action == LinkStatement::Action::kReset) {
    wire.reset();
  } else {
    wire.close();
  }
  return Step::kDone;
}

ScenarioRunner::State::Step ScenarioRunner::State::run(const WaitStatement& wait) {
  return waitUntil(wait.duration);
}

// Done once the statement has lasted so long.
ScenarioRunner::State::Step ScenarioRunner::State::waitUntil(std::chrono::nanoseconds duration) {
  due = later(begun, duration);
  return clock.now() >= *due ? Step::kDone : Step::kWaits;
}

ScenarioRunner::State::Step ScenarioRunner::State::notUp() {
  const bool mayComeUp = !isClosed && !isLost;
  if (mayComeUp && waitUntil(options.linkTimeout) == Step::kWaits) return Step::kWaits;
  std::string reason = "the link did not come up within " + durationText(options.linkTimeout);
  if (isClosed) {
    reason = "the scenario closed the link, and did not open it again";
  } else if (isLost) {
    reason = "the link went down before; \"expect link up\" would wait for it";
  }
  return fail(std::move(reason), nullptr, nullptr, ScenarioOutcome::kLinkFailed);
}

ScenarioRunner::State::Step ScenarioRunner::State::missing(const ExpectStatement& expect,
                                                           const PacketPattern& wanted) {
  const Arrival* nearest = nullptr;
  std::size_t most = 0;
  for (const Arrival& arrival : passedOver) {
    const std::size_t likeness = arrival.packet ? wanted.likeness(*arrival.packet) : 0;
    if (likeness < std::max<std::size_t>(most, 1)) continue;
    most = likeness;
    nearest = &arrival;
  }
  std::string reason = "nothing came within " + durationText(expect.within);
  if (nearest != nullptr) {
    reason = "no such packet came within " + durationText(expect.within) +
             "; of what was ignored or answered, this is most like it";
  } else if (!passedOver.empty()) {
    reason =
        "nothing came within " + durationText(expect.within) + " but what is ignored or answered";
  }
  if (!isUp) reason += "; the link is down";
  const bool isLinkAtFault = !isUp && !isClosed;
  return fail(std::move(reason), &wanted, nearest != nullptr ? nearest->packet.get() : nullptr,
              isLinkAtFault ? ScenarioOutcome::kLinkFailed : ScenarioOutcome::kFailed);
}

ScenarioRunner::State::Step ScenarioRunner::State::failByArrival(const PacketPattern& wanted,
                                                                 const Arrival& arrival,
                                                                 std::string reason) {
  if (arrival.packet == nullptr) {
    reason += ": " + frameText(arrival.frame, options.directory);
  }
  return fail(std::move(reason), &wanted, arrival.packet.get());
}

ScenarioRunner::State::Step ScenarioRunner::State::fail(std::string reason,
                                                        const PacketPattern* wanted,
                                                        const HudPacket* nearest,
                                                        ScenarioOutcome outcome) {
  const ScenarioStatement& statement = answering != nullptr ? *answering : scenario.statements[at];
  ScenarioFailure& failure = result.failure.emplace();
  failure.file = scenario.files[statement.place.file];
  failure.place = statement.place;
  failure.statement = scenarioStatementText(statement);
  failure.reason = std::move(reason);
  if (wanted != nullptr && nearest != nullptr) failure.rows = wanted->compare(*nearest);
  failure.records.assign(records.begin(), records.end());
  if (isScenarioCase(statement)) finishCase(ScenarioCase::Status::kFailed);
  result.outcome = outcome;
  due.reset();
  return Step::kEnded;
}

void ScenarioRunner::State::finishCase(ScenarioCase::Status status) {
  ScenarioCase& its = result.cases[nextCase++];
  its.status = status;
  its.took = clock.now() - begun;
}

// The last one that was said.
const ScenarioRunner::State::Standing* ScenarioRunner::State::standingFor(
    const Arrival& arrival) const {
  const auto found = std::find_if(standing.rbegin(), standing.rend(), [&](const Standing& each) {
    return each.pattern.matches(arrival.frame, arrival.packet.get());
  });
  return found == standing.rend() ? nullptr : &*found;
}

bool ScenarioRunner::State::isRejected(const Arrival& arrival) {
  if (!pattern || at == scenario.statements.size() ||
      !std::holds_alternative<RejectStatement>(scenario.statements[at].what) ||
      !pattern->matches(arrival.frame, arrival.packet.get())) {
    return false;
  }
  failByArrival(*pattern, arrival, "such a packet came");
  return true;
}

std::optional<PacketPattern> ScenarioRunner::State::resolve(const ScenarioPattern& wanted) {
  if (!wanted.pattern.isIncomplete()) return wanted.pattern;
  NotationError error;
  std::size_t offset = 0;
  auto read = PacketPattern::read(wanted.text, offset, {}, variables, options.directory, error);
  if (read && !read->isIncomplete()) return read;
  fail(unresolvedText(wanted.text, variables, read ? std::string() : error.text()));
  return std::nullopt;
}

std::optional<std::vector<std::uint8_t>> ScenarioRunner::State::resolve(
    const ScenarioPacket& packet) {
  if (packet.record) return packet.record->bytes;
  NotationError error;
  TrafficRecord record;
  bool isIncomplete = false;
  const bool isRead = reader.read(packet.text, variables, record, error, &isIncomplete);
  if (isRead && !isIncomplete) return std::move(record.bytes);
  fail(unresolvedText(packet.text, variables, isRead ? std::string() : error.text()));
  return std::nullopt;
}

void ScenarioRunner::State::send(const Answer& answer) {
  if (!isUp) return;
  answersAtOnce = answered == clock.now() ? answersAtOnce + 1 : 1;
  answered = clock.now();
  answering = answer.standing.answer;
  if (answersAtOnce > kMostAnswersAtOnce) {
    fail("more than 10,000 packets were answered at once: the answers seem to be answered, too");
    return;
  }
  if (answer.arrival.packet) answer.standing.pattern.bind(*answer.arrival.packet, variables);
  const auto bytes = resolve(std::get<AnswerStatement>(answering->what).answer);
  if (!bytes) return;
  answering = nullptr;
  wire.send(*bytes);
}

std::uint64_t seedOf(const Scenario& scenario, const ScenarioOptions& options) {
  return options.seed.value_or(scenario.seed.value_or(1));
}

ScenarioRole roleOf(const Scenario& scenario, const ScenarioOptions& options) {
  return options.role.value_or(scenario.role.value_or(ScenarioRole::kDisplay));
}

ScenarioWire::~ScenarioWire() = default;

ScenarioRunner::ScenarioRunner(const Scenario& scenario, const Clock& clock, ScenarioWire& wire,
                               ScenarioOptions options)
    : state_(std::make_unique<State>(scenario, clock, wire, std::move(options))) {}

ScenarioRunner::~ScenarioRunner() = default;

void ScenarioRunner::start() {
  state_->isStarted = true;
  state_->run();
}

void ScenarioRunner::linkUp() {
  state_->isUp = true;
  state_->isLost = false;
  if (!state_->wasUp) state_->hasBegun = false;
  state_->wasUp = true;
  state_->run();
}

void ScenarioRunner::linkDown() {
  state_->isUp = false;
  state_->isLost = state_->wasUp;
  state_->answers.clear();
  state_->run();
}

bool ScenarioRunner::receive(std::span<const std::uint8_t> frame,
                             std::shared_ptr<const HudPacket> packet) {
  State& state = *state_;
  if (!state.isStarted || isFinished()) return false;
  State::Arrival arrival{{frame.begin(), frame.end()}, std::move(packet)};
  if (state.isRejected(arrival)) return false;
  const State::Standing* const standing = state.standingFor(arrival);
  if (standing == nullptr) {
    state.waiting.push_back(std::move(arrival));
    // At the end, only answers are still sent.
    if (state.waiting.size() > kMostWaiting && state.at < state.scenario.statements.size()) {
      state.fail("more than 100,000 packets came that nothing expects");
    }
  } else {
    if (standing->answer != nullptr) state.answers.push_back({arrival, *standing});
    state.passedOver.push_back(std::move(arrival));
    if (state.passedOver.size() > kMostPassedOver) state.passedOver.pop_front();
  }
  const bool isAnswered = standing != nullptr && standing->answer != nullptr;
  state.run();
  return isAnswered;
}

void ScenarioRunner::addRecord(const TrafficRecord& record) {
  if (isFinished()) return;
  state_->records.push_back(record);
  if (state_->records.size() > kLastRecords) state_->records.pop_front();
}

void ScenarioRunner::advance() { state_->run(); }

std::optional<LinkTime> ScenarioRunner::nextDue() const { return state_->due; }

const ScenarioResult& ScenarioRunner::result() const { return state_->result; }

}  // namespace varno
