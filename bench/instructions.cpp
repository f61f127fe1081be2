// Runs one case in one way, for callgrind: `instructions --list` prints the cases and their ways,
// `instructions CASE WAY TIMES` runs one so many times inside varnoMeasured.

#include <VarnoNetwork/Network/HudLog.h>
#include <bench/Case.h>

#include <string>
#include <string_view>

// Callgrind counts what happens inside the function of this name, which must not be inlined.
extern "C" void varnoMeasured(const varno::bench::Loop& loop, std::size_t times);

void varnoMeasured(const varno::bench::Loop& loop, std::size_t times) { loop(times); }

int main(int argc, char** argv) {
  using namespace varno::bench;
  varno::HudLog::setSink([](std::string_view) {});
  // A call through a volatile pointer stays a call.
  decltype(&varnoMeasured) volatile measured = varnoMeasured;
  const bool isList = argc == 2 && std::string_view(argv[1]) == "--list";
  if (!isList && argc != 4) {
    std::cerr << "usage: instructions --list | CASE WAY TIMES\n";
    return 2;
  }
  for (const Case& one : allCases()) {
    if (one.waits) continue;  // what a waiting thread executes differs from run to run
    for (const auto& [way, member] : kWays) {
      const Loop& loop = one.*member;
      if (!loop) continue;
      if (isList) {
        std::cout << one.name << '\t' << way << '\n';
      } else if (one.name == argv[1] && way == argv[2]) {
        loop(16);  // after that, nothing happens for the first time
        measured(loop, std::stoul(argv[3]));
        return 0;
      }
    }
  }
  if (isList) return 0;
  std::cerr << "no case '" << argv[1] << "' with the way '" << argv[2] << "'\n";
  return 2;
}
