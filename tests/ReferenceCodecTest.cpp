// Compares the library's streams with the plain ones of tests/reference/ReferenceCodec.h: the same
// bytes, the same failures at the same offsets, and the same bytes stored before a failure.

#include <VarnoNetwork/Network/HudInputStream.h>
#include <VarnoNetwork/Network/HudOutputStream.h>
#include <gmock/gmock.h>
#include <tests/reference/ReferenceCodec.h>

#include <random>
#include <utility>

#include "TestSupport.h"

namespace varno::test {
namespace {

using Numbers = std::minstd_rand;  // the same numbers everywhere, unlike the distributions

std::size_t below(Numbers& random, std::size_t limit) { return random() % limit; }

// Escaped values and their neighbors, and the limits of UTF-8's ranges.
constexpr std::string_view kEdges(
    "\x00\x01\x02\x03\x04\x7C\x7D\x7E\x7F\x80\x8F\x90\x9F\xA0\xBF\xC0\xC1\xC2\xDF\xE0\xED\xEF\xF0"
    "\xF4\xF5\xFF",
    26);

// What is put into clean text: first what is not escaped, then what is, then what is not UTF-8.
constexpr std::size_t kUnescaped = 5;
constexpr std::size_t kValid = 10;
const std::vector<std::string> kDisturbances = {"\x01\x7E\x04",
                                                "\x7F\x7C\x7B",
                                                "\xC3\xA9",
                                                "\xEA\xB0\x80",
                                                "\xF0\x9F\x98\x80",
                                                "\x02",
                                                "\x03",
                                                "\x7D",
                                                "\x7D\x7D\x02",
                                                "\x03\xC2\x80",
                                                "\x80",
                                                "\xFF",
                                                "\xED\xA0\x80",
                                                "\xE0\x9F\xBF",
                                                "\xF4\x90\x80\x80",
                                                "\xF5\x80\x80\x80",
                                                "\xF0\x9F\x98",
                                                "\xF0\x8F\x80\x80",
                                                "\xC1\xBF"};

// Runs of bytes that a faulty bitwise search could confuse.
constexpr std::string_view kFillings("a\x00~\x7C", 4);

// Lengths around every block size, up to some that are too long for a string's count.
std::vector<std::size_t> longLengths() {
  std::vector<std::size_t> lengths = {32'767, 32'768, 65'535, 65'536, 65'600};
  for (const std::size_t edge : {256U, 512U, 1'024U, 2'304U, 4'352U}) {
    for (std::size_t length = edge - 6; length <= edge + 6; ++length) lengths.push_back(length);
  }
  return lengths;
}

std::string wireText(Numbers& random, std::size_t length) {
  const std::size_t kind = below(random, 4);
  std::string text;
  while (text.size() < length) {
    if (kind == 0) text += static_cast<char>(random());
    if (kind == 1) text += kEdges[below(random, kEdges.size())];
    if (kind == 2) text += kDisturbances[below(random, kValid)] + "a clean run ";
    if (kind == 3) text += kDisturbances[below(random, kUnescaped)];
  }
  return text;
}

std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// Writes the text unchecked and checked, after `before` bytes, so that it meets every state of the
// staging area.
template <class Stream>
std::string written(std::string_view text, std::size_t before) {
  Stream stream;
  for (std::size_t at = 0; at < before; ++at) {
    before % 2 == 0 ? stream.directWrite(0x41) : stream.writeByte(0x41);
  }
  stream.writeShort(static_cast<std::int16_t>(text.size()));
  stream.write(bytesOf(text).data(), text.size());
  stream.writeInt(0x0203'7D41);
  stream.writeUTF(text);
  stream.writeLong(0x7D02'0300'0000'027D);
  const Bytes wire = stream.toNSData();
  EXPECT_EQ(std::move(stream).toNSData(), wire);
  return {wire.begin(), wire.end()};
}

// Reads a text first, then whatever comes, and goes on after the first failures. Each read as text:
// what it gave or stored, whether it failed, and the offset after it.
template <class Stream>
std::vector<std::string> readings(std::string_view wire, Numbers random) {
  Stream stream(bytesOf(wire));
  std::string value;
  const auto readSomething = [&] {
    switch (below(random, 9)) {
      case 0: return value = std::to_string(stream.readByte());
      case 1: return value = std::to_string(stream.readShort());
      case 2: return value = std::to_string(stream.readInt());
      case 3: return value = std::to_string(stream.readLong());
      case 4: return value = std::to_string(std::bit_cast<std::uint64_t>(stream.readDouble()));
      case 5: return value = std::to_string(std::bit_cast<std::uint32_t>(stream.readFloat()));
      case 6: return value = std::to_string(stream.readBoolean());
      case 7: return value = std::to_string(stream.directRead());
      default:
        value.assign(below(random, 150), '?');
        stream.read(reinterpret_cast<std::uint8_t*>(value.data()), value.size());
        return value;
    }
  };
  std::vector<std::string> seen;
  for (std::size_t failures = 0; failures < 3;) {
    value.clear();
    try {
      value = seen.empty() ? stream.readUTF().value_or("absent") : readSomething();
    } catch (const IndexOutOfBoundsException&) {
      value += " failed";
      ++failures;
    }
    seen.push_back(value + " @ " + std::to_string(stream.offset()));
  }
  return seen;
}

void compareReading(std::string_view wire, Numbers random) {
  const auto expected = readings<reference::InputStream>(wire, random);
  ASSERT_EQ(readings<HudInputStream>(wire, random), expected) << hex(bytesOf(wire));
}

// The text written and read back: as it is, cut near its end, and cut anywhere.
void compareStreams(std::string_view text, Numbers& random) {
  const std::size_t before = below(random, 2) == 0 ? 0 : below(random, 1'030);
  const std::string wire = written<reference::OutputStream>(text, before);
  ASSERT_EQ(written<HudOutputStream>(text, before), wire);

  const std::string_view body = std::string_view(wire).substr(before);
  const std::size_t nearEnd = body.size() - below(random, 12);
  for (const std::size_t length : {body.size(), nearEnd, below(random, body.size())}) {
    random.discard(1);
    ASSERT_NO_FATAL_FAILURE(compareReading(body.substr(0, length), random));
  }
}

TEST(ReferenceCodec, CleanTextDisturbedAnywhere) {
  Numbers random(1);
  for (std::size_t length = 0; length <= 200; ++length) {
    for (std::size_t at = 0; at <= length; at += 1 + below(random, 3)) {
      std::string text(length, kFillings[below(random, kFillings.size())]);
      text.insert(at, kDisturbances[below(random, kDisturbances.size())]);
      ASSERT_NO_FATAL_FAILURE(compareStreams(text, random));
    }
  }
  for (const std::size_t length : longLengths()) {
    for (const std::size_t at : {std::size_t{0}, below(random, length), length - 64, length - 1}) {
      std::string text(length, kFillings[below(random, kFillings.size())]);
      const std::string& disturbance = kDisturbances[below(random, kDisturbances.size())];
      text.replace(at, disturbance.size(), disturbance);
      text.resize(length);
      ASSERT_NO_FATAL_FAILURE(compareStreams(text, random));
    }
  }
}

TEST(ReferenceCodec, RandomBytesAndTexts) {
  Numbers random(2);
  for (std::size_t length = 0; length <= 200; ++length) {
    for (int round = 0; round < 20; ++round) {
      ASSERT_NO_FATAL_FAILURE(compareStreams(wireText(random, length), random));
      // Wire bytes that no writer made, with a count that their number allows.
      std::string wire = wireText(random, length);
      if (wire.size() > 2) wire.replace(0, 2, {'\0', static_cast<char>(below(random, 128))});
      ASSERT_NO_FATAL_FAILURE(compareReading(wire, random));
    }
  }
  for (const std::size_t length : longLengths()) {
    ASSERT_NO_FATAL_FAILURE(compareStreams(wireText(random, length), random));
  }
}

}  // namespace
}  // namespace varno::test
