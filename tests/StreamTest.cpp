#include "StreamSupport.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <limits>
#include <numeric>

namespace varno::test {
namespace {

// Checks that the value is written as these bytes, and that they are read as the value.
template <auto kWrite, auto kRead, class Value>
void expectWire(Value value, const char* wire) {
  SCOPED_TRACE(wire);
  Out out;
  (out.*kWrite)(value);
  EXPECT_EQ(hex(out.toNSData()), wire);
  EXPECT_EQ(out.size(), static_cast<std::int64_t>(bytes(wire).size()));
  In in(bytes(wire));
  const Value read = (in.*kRead)();
  using Bits = std::array<std::uint8_t, sizeof value>;  // tell -0.0 and NaN
  EXPECT_EQ(std::bit_cast<Bits>(read), std::bit_cast<Bits>(value));
  EXPECT_EQ(in.offset(), bytes(wire).size());
}

TEST(Stream, Primitives) {
  constexpr auto kByte = expectWire<&Out::writeByte, &In::readByte, std::uint8_t>;
  kByte(0x41, "41");
  kByte(0x02, "7D 7F");
  kByte(0x03, "7D 7E");
  kByte(0x7D, "7D 00");
  constexpr auto kShort = expectWire<&Out::writeShort, &In::readShort, std::int16_t>;
  kShort(-1, "FF FF");
  kShort(-32768, "80 00");
  kShort(0x0203, "7D 7F 7D 7E");
  constexpr auto kInt = expectWire<&Out::writeInt, &In::readInt, std::int32_t>;
  kInt(1, "00 00 00 01");
  kInt(-1, "FF FF FF FF");
  kInt(0x7D7D7D7D, "7D 00 7D 00 7D 00 7D 00");
  kInt(std::numeric_limits<std::int32_t>::min(), "80 00 00 00");
  constexpr auto kLong = expectWire<&Out::writeLong, &In::readLong, std::int64_t>;
  kLong(1, "00 00 00 00 00 00 00 01");
  kLong(-2, "FF FF FF FF FF FF FF FE");
  kLong(0x0102030405060708, "01 7D 7F 7D 7E 04 05 06 07 08");
  constexpr auto kFloat = expectWire<&Out::writeFloat, &In::readFloat, float>;
  kFloat(1.0F, "3F 80 00 00");
  kFloat(-2.5F, "C0 20 00 00");
  kFloat(-0.0F, "80 00 00 00");
  kFloat(std::numeric_limits<float>::infinity(), "7F 80 00 00");
  kFloat(std::bit_cast<float>(0x7FC0037DU), "7F C0 7D 7E 7D 00");
  constexpr auto kDouble = expectWire<&Out::writeDouble, &In::readDouble, double>;
  kDouble(1.0, "3F F0 00 00 00 00 00 00");
  kDouble(-2.5, "C0 04 00 00 00 00 00 00");
  kDouble(std::bit_cast<double>(std::uint64_t{0x02037D4102037D41}),
          "7D 7F 7D 7E 7D 00 41 7D 7F 7D 7E 7D 00 41");
  constexpr auto kBoolean = expectWire<&Out::writeBoolean, &In::readBoolean, bool>;
  kBoolean(true, "01");
  kBoolean(false, "00");
}

TEST(Stream, Runs) {
  Bytes all(256);
  std::iota(all.begin(), all.end(), std::uint8_t{0});
  Out out;
  out.write(all);
  EXPECT_EQ(hex(out.toNSData()), hex(stuffed(all)));
  Bytes read(all.size());
  In(out.toNSData()).read(read.data(), read.size());
  EXPECT_EQ(read, all);

  Out other;
  other.directWrite(0x02);
  other.directWrite(0x7D);
  other.write(nullptr, 4);
  other.write(all.data(), 0);
  EXPECT_EQ(hex(other.toNSData()), "02 7D");
}

// Each read: its bytes, the operation, its result, and the offset afterwards.
TEST(Stream, Reads) {
  const auto readByte = [](In& in) { return std::to_string(in.readByte()); };
  const auto directRead = [](In& in) { return std::to_string(in.directRead()); };
  const auto readShort = [](In& in) { return std::to_string(in.readShort()); };
  const auto readBoolean = [](In& in) { return std::to_string(in.readBoolean()); };
  const auto readUTF = [](In& in) { return in.readUTF().value_or("absent"); };
  const std::string outOfBounds(kOutOfBounds);
  const struct {
    const char* wire;
    std::function<std::string(In&)> read;
    std::string result;
    std::uint64_t offset;
  } rows[] = {
      {"", readByte, outOfBounds, 0},
      {"7D", readByte, outOfBounds, 1},
      {"7D 41", readByte, "60", 2},
      {"7D 7D 02", readByte, "0", 2},
      {"02", readByte, "2", 1},
      {"", directRead, outOfBounds, 0},
      {"7D 00", directRead, "125", 1},
      {"", readShort, outOfBounds, 0},
      {"00", readShort, outOfBounds, 1},
      {"00 7D", readShort, outOfBounds, 2},
      {"7D 7F", readShort, outOfBounds, 2},
      {"7D 41 42 43", readShort, "15426", 3},
      {"7D 7F", readBoolean, "1", 2},
      {"FF", readBoolean, "1", 1},
      {"7D 7D", readBoolean, "0", 2},
      {"00 02 41 42", readUTF, "AB", 4},
      {"00 7D 7F 41 42 43", readUTF, "AB", 5},
      {"00 00 41", readUTF, "", 2},
      {"FF FF 41", readUTF, "", 2},
      {"80 00 41", readUTF, "", 2},
      {"00 01 FF", readUTF, "absent", 3},
      {"00 02 7D 41 43", readUTF, "<C", 5},
      {"00 02 7D BE 43", readUTF, "absent", 5},  // BE is C3, which no continuation follows
      {"00 02 7D BE 7D D4", readUTF, "\u00E9", 6},
      {"00", readUTF, outOfBounds, 1},
      {"00 05 41 42", readUTF, outOfBounds, 4},
      {"00 05 7D", readUTF, outOfBounds, 3},
      {"00 02 41 7D", readUTF, outOfBounds, 4},
      {"00 02 7D 7F", readUTF, outOfBounds, 4},
      {"7F FF 41", readUTF, outOfBounds, 3},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.wire);
    In in(bytes(row.wire));
    std::string result;
    const std::string thrown = thrownBy([&] { result = row.read(in); });
    EXPECT_EQ(result + thrown, row.result);
    EXPECT_EQ(in.offset(), row.offset);
    EXPECT_EQ(in.available(), static_cast<std::int64_t>(bytes(row.wire).size()));
  }
}

TEST(Stream, ReadStoresWhatComesBeforeItsFailure) {
  Bytes buffer = bytes("EE EE EE EE EE");
  In in(bytes("41 7D 7F 42 7D"));
  in.read(nullptr, 3);
  in.read(buffer.data(), 0);
  EXPECT_EQ(in.offset(), 0U);
  EXPECT_EQ(thrownBy([&] { in.read(buffer.data(), 4); }), kOutOfBounds);
  EXPECT_EQ(hex(buffer), "41 02 42 EE EE");
  EXPECT_EQ(in.offset(), 5U);

  in.initWithBytes(bytes("41 42").data(), 2);
  EXPECT_EQ(in.readShort(), 0x4142);
  EXPECT_EQ(in.available(), 2);
}

TEST(Stream, OwnsOrBorrowsItsBytes) {
  Bytes source = bytes("41 42 43");
  In copying(source);
  In factory = In::initWithNSData(source);
  In borrowing = In::borrowing(source);
  source[0] = 0x51;
  EXPECT_EQ(copying.readByte(), 0x41);
  EXPECT_EQ(factory.readByte(), 0x41);
  EXPECT_EQ(borrowing.readByte(), 0x51);

  borrowing.initWithBytes(source.data() + 1, 2);  // from the memory that it reads itself
  source[1] = 0x52;
  EXPECT_EQ(borrowing.readByte(), 0x42);

  const std::span<const std::uint8_t> absent;
  for (In& empty : std::initializer_list<std::reference_wrapper<In>>{factory, borrowing}) {
    empty.initWithBytes(nullptr, 4);
    EXPECT_EQ(empty.available(), 0);
    EXPECT_EQ(thrownBy([&] { empty.readByte(); }), kOutOfBounds);
  }
  EXPECT_EQ(In(nullptr, 4).available(), 0);
  EXPECT_EQ(In::initWithNSData(absent).available(), 0);
  EXPECT_EQ(thrownBy([&] { In::borrowing(absent).readUTF(); }), kOutOfBounds);
}

TEST(Stream, BytesCanBeTakenOutAtAnyTime) {
  for (const std::size_t length : {3U, 512U, 513U, 1500U}) {
    SCOPED_TRACE(length);
    Bytes content(length, 0x41);
    Out out;
    out.write(content);
    const Bytes first = out.toNSData();
    EXPECT_EQ(out.toNSData(), first);
    out.writeByte(0x42);
    EXPECT_EQ(first, content);

    Bytes buffer(length + 3, 0xEE);
    out.toByteArray(nullptr, length);
    out.toByteArray(buffer.data(), length - 1);
    content.back() = 0xEE;
    content.insert(content.end(), 3, 0xEE);
    EXPECT_EQ(buffer, content);
    out.toByteArray(buffer.data(), std::numeric_limits<std::uint64_t>::max());
    content[length - 1] = 0x41;
    content[length] = 0x42;
    EXPECT_EQ(buffer, content);

    const std::span<const std::uint8_t> view = out.view();
    EXPECT_EQ(hex(view), hex(out.toNSData()));
    EXPECT_EQ(std::move(out).toNSData().size(), length + 1);
    EXPECT_EQ(out.size(), 0);  // NOLINT(bugprone-use-after-move): it is left empty, by contract
    out.writeByte(0x43);
    EXPECT_EQ(hex(out.toNSData()), "43");
  }
}

}  // namespace
}  // namespace varno::test
