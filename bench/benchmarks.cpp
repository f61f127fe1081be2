#include <VarnoNetwork/Network/HudLog.h>
#include <bench/AllocationCounter.h>
#include <bench/Case.h>
#include <benchmark/benchmark.h>

namespace varno::bench {
namespace {

constexpr std::size_t kBatch = 64;  // so that calling the loop does not count

void measure(benchmark::State& state, const Loop& loop) {
  loop(kBatch);
  const std::size_t before = allocationCount();
  loop(kBatch);
  state.counters["allocations"] =
      static_cast<double>(allocationCount() - before) / static_cast<double>(kBatch);
  while (state.KeepRunningBatch(kBatch)) loop(kBatch);
}

void registerWay(const Case& one, const Way& way) {
  const Loop& loop = one.*way.loop;
  if (!loop) return;
  const std::string name = one.name + "/" + std::string(way.name);
  auto* registered =
      benchmark::RegisterBenchmark(name.c_str(), [loop](auto& state) { measure(state, loop); });
  if (one.waits) registered->UseRealTime();
}

}  // namespace
}  // namespace varno::bench

int main(int argc, char** argv) {
  using namespace varno::bench;
  varno::HudLog::setSink([](std::string_view) {});
  for (const Case& one : allCases()) {
    for (const Way& way : kWays) registerWay(one, way);
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::ClearRegisteredBenchmarks();
}
