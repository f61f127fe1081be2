// For scripts/check-captures.sh: writes a capture of records of every kind, and shows those records
// or the ones that a capture has: a line each, of time, direction, kind, number of bytes, bytes,
// note.
//   capture_sample write FILE SEED
//   capture_sample show FILE

#include "tests/TestSupport.h"
#include "tests/traffic/RandomRecords.h"

#include <VarnoTraffic/VarnoTraffic.h>

#include <exception>
#include <fstream>
#include <iostream>
#include <string>

namespace varno::test {
namespace {

// Few, and one of them longer than other programs take in a packet.
constexpr std::size_t kRecords = 200;
constexpr std::size_t kLongest = 700'000;

void print(const TrafficRecord& record) {
  std::cout << record.time.value_or(0) << '|'
            << (record.direction ? directionText(*record.direction) : "") << '|'
            << recordKindText(record.kind) << '|' << record.bytes.size() << '|' << hex(record.bytes)
            << '|' << HudLog::printableLine(record.note) << '\n';
}

int write(const std::string& path, std::uint32_t seed) {
  std::ofstream file(path, std::ios::binary);
  PcapngWriter writer(file);
  for (const TrafficRecord& record : randomRecords(seed, kRecords, kLongest)) {
    writer.write(record);
    print(record);
  }
  return writer.flush() ? 0 : 1;
}

int show(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const auto reader = openRecords(file);
  reader->setOnWarning([](const ReadWarning& warning) { std::cerr << warning.text() << '\n'; });
  TrafficRecord record;
  while (reader->next(record)) print(record);
  return reader->warnings() == 0 ? 0 : 1;
}

}  // namespace
}  // namespace varno::test

int main(int argc, char** argv) {
  try {
    const std::string command = argc > 2 ? argv[1] : "";
    if (command == "show" && argc == 3) return varno::test::show(argv[2]);
    if (command == "write" && argc == 4) {
      return varno::test::write(argv[2], static_cast<std::uint32_t>(std::stoul(argv[3])));
    }
    std::cerr << "usage: capture_sample write FILE SEED | show FILE\n";
    return 2;
  } catch (const std::exception& exception) {
    std::cerr << "capture_sample: " << exception.what() << '\n';
    return 1;
  }
}
