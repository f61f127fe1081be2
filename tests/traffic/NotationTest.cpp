#include "tests/TestSupport.h"
#include "tests/traffic/TrafficSupport.h"

#include <VarnoTraffic/VarnoTraffic.h>

#include <gtest/gtest.h>

#include <sstream>

namespace varno::test {
namespace {

// What is printed, in whichever form, is the same frame when it is read.
TEST(NotationTest, ReadsBackWhatItPrints) {
  const PacketRegistration<EveryFieldPacket> registration;
  const PacketDirectory directory;
  NotationPrinter text(Secrets::kShown, directory);
  const NotationReader textReader(directory);
  JsonPrinter json(Secrets::kShown, directory);
  const JsonReader jsonReader(directory);
  Random random(1);
  for (const PacketDirectory::Entry& entry : directory.entries()) {
    for (int round = 0; round < 60; ++round) {
      const auto packet = entry.type.make();
      RandomFiller filler(random);
      if (round > 0) packet->editFields(filler);
      NotationError error;

      std::string line;
      text.append(line, *packet);
      const auto again = textReader.readPacket(line, error);
      ASSERT_NE(again, nullptr) << error.text() << '\n' << error.pointTo(line);
      const Bytes frame = frameOf(*packet);
      ASSERT_EQ(hex(frameOf(*again)), hex(frame)) << line;
      ASSERT_EQ(notationOf(*again, Secrets::kShown), line);

      // Damaged and whole.
      TrafficRecord record{.time = static_cast<std::int64_t>(random()) * -random(),
                           .direction = Direction::kToPhone,
                           .bytes = frame,
                           .note = randomText(random)};
      if (round % 4 == 3)
        record.bytes[random() % frame.size()] ^= Bytes{1, 2, 4, 127}[random() % 4];
      if (round % 10 == 9) record.bytes.resize(random() % frame.size());
      TrafficRecord read;
      line.clear();
      text.append(line, record);
      ASSERT_TRUE(textReader.read(line, read, error)) << error.text() << '\n' << line;
      ASSERT_EQ(read, record) << line;
      ASSERT_EQ(line.find('\n'), std::string::npos);

      record.note = "\xC2\x85 #: \"\\\n";  // JSON has no text that is not valid UTF-8
      line.clear();
      json.append(line, record);
      ASSERT_TRUE(jsonReader.read(line, read, error)) << error.text() << '\n' << line;
      ASSERT_EQ(read, record) << line;
    }
  }
}

}  // namespace
}  // namespace varno::test
