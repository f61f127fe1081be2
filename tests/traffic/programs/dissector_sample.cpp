// For scripts/check-dissector.sh: writes a capture of frames of every packet type, whole and
// damaged, and of pieces that are none, and a dissector that knows the types; prints the same
// records as JSON lines.
//   dissector_sample CAPTURE DISSECTOR SEED

#include "tests/TestSupport.h"
#include "tests/traffic/TrafficSupport.h"
#include "tools/wireshark/LuaDissector.h"

#include <VarnoTraffic/VarnoTraffic.h>

#include <exception>
#include <fstream>
#include <iostream>
#include <string>

namespace varno::test {
namespace {

constexpr int kRounds = 20;

// Each is wrong in a way of its own, but for the last.
const std::string kTexts[] = {"a\x80",
                              "\xC1\xBF",
                              "\xE0\x9F\xBF",
                              "\xED\xA0\x80",
                              "\xF0\x8F\xBF\xBF",
                              "\xF4\x90\x80\x80",
                              "\xF5\x80\x80\x80",
                              "\xE1\x80",
                              "\xED\x9F\xBF\xF4\x8F\xBF\xBF"};

// Half of the damaged frames still have their marks, so that something is read of them.
Bytes damaged(Bytes frame, Random& random) {
  const std::size_t at = 1 + random() % (frame.size() - 2);
  switch (random() % 6) {
    case 0: frame[at] = static_cast<std::uint8_t>(random()); break;
    case 1: frame.erase(frame.begin() + static_cast<std::ptrdiff_t>(at), frame.end() - 1); break;
    case 2: frame.insert(frame.end() - 1, {0x41, 0x7D}); break;
    case 3: frame[at] = Bytes{STX, ETX, ESCAPE, 0xFF}[random() % 4]; break;
    case 4: frame.resize(at); break;
    default: frame.erase(frame.begin() + static_cast<std::ptrdiff_t>(random() % 3)); break;
  }
  return frame;
}

// The text that a version event reads has an "&" more than the one that it writes.
void makeReadable(HudPacket& packet) {
  if (auto* version = dynamic_cast<HudVersionEventPacket*>(&packet)) {
    version->setSystemVersion("1.0&");
  }
}

bool writeDissector(const std::string& path) {
  std::ofstream file(path, std::ios::binary);
  file << luaDissector();
  return file.flush().good();
}

bool writeCapture(const std::string& path, std::uint32_t seed) {
  std::ofstream file(path, std::ios::binary);
  PcapngWriter writer(file);
  JsonPrinter printer(Secrets::kShown);
  std::string line;
  const auto tell = [&](const TrafficRecord& record) {
    writer.write(record);
    printer.append(line, record);
    line += '\n';
  };
  HudLog::setSink([](std::string_view) {});
  Random random(seed);
  const PacketDirectory directory;
  for (const PacketDirectory::Entry& entry : directory.entries()) {
    for (int round = 0; round < kRounds; ++round) {
      const auto packet = entry.type.make();
      RandomFiller filler(random);
      if (round > 0) packet->editFields(filler);
      makeReadable(*packet);
      TrafficRecord frame;
      frame.direction = static_cast<Direction>(round % 2);
      frame.bytes = frameOf(*packet);
      if (round >= kRounds / 2) frame.bytes = damaged(frame.bytes, random);
      tell(frame);
    }
  }
  TrafficRecord record;
  record.direction = Direction::kToDisplay;
  for (const std::string& text : kTexts) {
    record.bytes = {STX, 1, 4, 0, 0, static_cast<std::uint8_t>(text.size())};
    record.bytes.insert(record.bytes.end(), text.begin(), text.end());
    record.bytes.insert(record.bytes.end(), {0, 0, 0, 0, ETX});
    tell(record);
  }
  DisplayNotificationSettingCommandPacket big;  // longer than a packet of a capture may be
  for (char name = 'a'; name < 'p'; ++name) big.addPackageName(std::string(30'000, name));
  record.bytes = frameOf(big);
  tell(record);
  record.note = "why";
  for (const RecordKind kind : kRecordKinds) {
    record.kind = kind;
    record.bytes = kind == RecordKind::kNoise   ? Bytes{0x41, ETX}
                   : kind == RecordKind::kTorn  ? Bytes{STX, ESCAPE, 0x7F, 0x0F}
                   : kind == RecordKind::kShort ? Bytes{STX, 0x41, ETX}
                   : mayHaveBytes(kind)         ? kKeepAlive
                                                : Bytes();
    if (kind != RecordKind::kNote) tell(record);
  }
  std::cout << line;
  return writer.flush();
}

}  // namespace
}  // namespace varno::test

int main(int argc, char** argv) {
  try {
    if (argc != 4) {
      std::cerr << "usage: dissector_sample CAPTURE DISSECTOR SEED\n";
      return 2;
    }
    const varno::PacketRegistration<varno::test::EveryFieldPacket> registration;
    const auto seed = static_cast<std::uint32_t>(std::stoul(argv[3]));
    const bool isWritten =
        varno::test::writeCapture(argv[1], seed) && varno::test::writeDissector(argv[2]);
    return isWritten ? 0 : 1;
  } catch (const std::exception& exception) {
    std::cerr << "dissector_sample: " << exception.what() << '\n';
    return 1;
  }
}
