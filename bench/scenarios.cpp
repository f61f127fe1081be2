#include <VarnoDisplay/VarnoDisplay.h>
#include <VarnoNetwork/VarnoNetwork.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

// How long it takes to run 1,000 scenarios of 20 steps against an application in the same process.

namespace varno::bench {
namespace {

constexpr int kScenarios = 1000;

// Answers each packet with another.
class Application : public HudNetwork {
 public:
  explicit Application(InProcessScenario& scenario) : scenario_(scenario) {
    registerPacketHandleDelegate(router_);
  }
  bool sendPacketImpl(std::vector<std::uint8_t> frame) override { return scenario_.receive(frame); }

 private:
  InProcessScenario& scenario_;
  std::shared_ptr<PacketRouter> router_ = std::make_shared<PacketRouter>();
  PacketRouter::Subscription subscription_ =
      router_->on<WifiStationStatusEventPacket>([this](const auto& status) {
        WifiStationModeCommandPacket wifi;
        wifi.setSsid(status.errorMessage());
        sendPacket(wifi);
      });
};

std::string textOf20Steps() {
  std::string text = "option seed=7\n";
  for (int step = 0; step < 10; ++step) {
    const std::string name = "network" + std::to_string(step);
    text += "send   WifiStationStatus eventType=2 errorMessage=" + name + "\n";
    text += "expect WifiStationMode ssid=" + name + " securityType>=0 within 10s\n";
  }
  return text;
}

void run(const Scenario& scenario) {
  ManualClock clock;
  InProcessScenario run(scenario, clock);
  Application application(run);
  run.setApplication({.onFrame = [&](auto frame) { application.handleRawPacket(frame); }});
  if (run.run().outcome != ScenarioOutcome::kPassed) {
    throw std::logic_error(run.result().failure->text());
  }
}

void runRead(benchmark::State& state) {
  const Scenario scenario = readScenario(textOf20Steps(), "20 steps").scenario;
  for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
    for (int count = 0; count < kScenarios; ++count) run(scenario);
  }
}

void readAndRun(benchmark::State& state) {
  const std::string text = textOf20Steps();
  for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
    for (int count = 0; count < kScenarios; ++count) run(readScenario(text, "20 steps").scenario);
  }
}

BENCHMARK(runRead)->Name("run 1,000 scenarios of 20 steps")->Unit(benchmark::kMillisecond);
BENCHMARK(readAndRun)
    ->Name("read and run 1,000 scenarios of 20 steps")
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace varno::bench
