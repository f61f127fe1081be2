#include "tests/traffic/TrafficSupport.h"

#include <VarnoTraffic/VarnoTraffic.h>

#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

// Writes the inputs that the searches begin with: of every packet type the frame with its defaults,
// one with every field changed, and one with random fields; their lines of text and of JSON; a
// capture with a record of every kind; logs with dumps.

namespace varno::fuzz {
namespace {

using Bytes = std::vector<std::uint8_t>;

// Gives each field a value with something to escape in it.
void fill(HudPacket& packet) {
  forEachField(packet, [](const FieldInfo&, auto& value) {
    using Value = std::remove_reference_t<decltype(value)>;
    if constexpr (std::is_same_v<Value, bool>) {
      value = !value;
    } else if constexpr (std::is_integral_v<Value>) {
      value = static_cast<Value>(0x00027D03'7D0203FD);
    } else if constexpr (std::is_floating_point_v<Value>) {
      value = static_cast<Value>(-1.0e38);
    } else if constexpr (std::is_same_v<Value, HudString>) {
      value = "a}\x02\x7F\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";
    } else {
      value = {"", "a", "}", "\xC2\x85", "com.varno.music", "com.varno.email"};
    }
  });
}

class Directory {
 public:
  explicit Directory(std::filesystem::path path) : path_(std::move(path)) {
    std::filesystem::create_directories(path_);
  }

  void write(std::string_view name, std::string_view text) const {
    write(name, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  }
  void write(std::string_view name, std::span<const std::uint8_t> bytes) const {
    std::ofstream file(path_ / name, std::ios::binary);
    for (const std::uint8_t byte : bytes) file.put(static_cast<char>(byte));
    file.close();
    if (!file) throw std::filesystem::filesystem_error("not written", path_ / name, {});
  }

 private:
  std::filesystem::path path_;
};

// With what a search's script has in front of the file: nothing is missing, in chunks of a byte.
Bytes behind(std::size_t scriptBytes, const std::string& text) {
  Bytes seed(scriptBytes);
  seed.insert(seed.end(), text.begin(), text.end());
  return seed;
}

void writeCapture(const Directory& pcapng) {
  std::ostringstream file;
  PcapngWriter writer(file);
  std::int64_t time = 1'500'000'000'000'000'000;
  for (const RecordKind kind : kRecordKinds) {
    TrafficRecord record{++time, Direction::kToPhone, kind, {}, "a note"};
    if (mayHaveBytes(kind)) record.bytes = frameOf(KeepAliveCommandPacket());
    writer.write(record);
  }
  pcapng.write("every-kind", behind(3, file.str()));
}

void writeLogs(const Directory& logs) {
  std::string log = "started\n";
  HudLog::setSink([&](std::string_view line) { log.append("I hud: ").append(line).append("\n"); });
  HudPacket::hexDump("SendPacket(SystemTimeCommandPacket)", frameOf(SystemTimeCommandPacket()));
  HudPacket::hexDump("ReceivePacket", frameOf(WifiStationStatusEventPacket()));
  HudLog::setSink({});
  constexpr std::size_t kScriptBytes = 4;  // a chunk's size, nothing around a line, a short frame
  const Bytes frame = frameOf(KeepAliveCommandPacket());
  Bytes seed(kScriptBytes);
  seed.insert(seed.end(), frame.begin() + 1, frame.begin() + 4);
  seed.insert(seed.end(), log.begin(), log.end());
  logs.write("dumps", seed);
  logs.write("hex", behind(kScriptBytes + 3, "02 01 01 00 03 # a comment\n0x02,0x41\n"));
}

void writeSeeds(const std::filesystem::path& root) {
  writeCapture(Directory(root / "pcapng"));
  writeLogs(Directory(root / "log"));
  const Directory receive(root / "receive");
  const Directory roundTrip(root / "roundtrip");
  const Directory cutter(root / "cutter");
  const Directory explain(root / "explain");
  const Directory notation(root / "notation");
  const PacketRegistration<test::EveryFieldPacket> everyField;
  NotationPrinter text(Secrets::kShown);
  JsonPrinter json(Secrets::kShown);
  Bytes stream;
  const auto add = [&](const std::string& name, Bytes frame) {
    receive.write(name, frame);
    roundTrip.write(name, std::span(frame).subspan(1, frame.size() - 2));
    explain.write(name, frame);
    std::string line;
    const TrafficRecord record{.time = 1'500'000'000'000'000'001,
                               .direction = Direction::kToPhone,
                               .bytes = frame,
                               .note = "a \\ note"};
    text.append(line, record);
    notation.write(name + "-text", line);
    line.clear();
    json.append(line, record);
    notation.write(name + "-json", line);
    stream.insert(stream.end(), frame.begin(), frame.end());
  };
  test::Random random(1);
  test::RandomFiller randomFiller(random);
  for (const PacketType type : PacketCatalogue::packetTypes()) {
    const std::string name(type.name());
    const auto packet = type.make();
    add(name, frameOf(*packet));
    fill(*packet);
    add(name + "-filled", frameOf(*packet));
    packet->editFields(randomFiller);
    add(name + "-random", frameOf(*packet));
  }
  // The version event's writer omits a separator that its reader requires.
  HudVersionEventPacket version;
  version.setModelName("A");
  version.setSystemVersion("1.0&");
  version.setBleVersion("2.0");
  add("HudVersionEventPacket-readable", frameOf(version));
  cutter.write("all", stream);
}

}  // namespace
}  // namespace varno::fuzz

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: fuzz_seeds DIRECTORY\n";
    return 2;
  }
  try {
    varno::fuzz::writeSeeds(argv[1]);
  } catch (const std::exception& exception) {
    std::cerr << "fuzz_seeds: " << exception.what() << '\n';
    return 1;
  }
}
