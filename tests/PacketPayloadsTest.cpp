#include <VarnoNetwork/VarnoNetwork.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <limits>
#include <map>
#include <sstream>

#include "FieldSupport.h"

namespace varno::test {
namespace {

using testing::EndsWith;

// Gives every field a value that differs from its default and contains all bytes that are stuffed.
void fill(HudPacket& packet) {
  forEachField(packet, [](const FieldInfo& field, auto& value) {
    using Value = std::remove_reference_t<decltype(value)>;
    if constexpr (std::is_same_v<Value, bool>) {
      value = !value;
    } else if constexpr (std::is_same_v<Value, float>) {
      value = std::bit_cast<float>(0x7D0203FE);
    } else if constexpr (std::is_same_v<Value, double>) {
      value = std::bit_cast<double>(0x7D0203FE037D027E);
    } else if constexpr (std::is_integral_v<Value>) {
      value = static_cast<Value>(0xFD027D03FE03027D);
    } else if constexpr (std::is_same_v<Value, HudString>) {
      value = "\x02\x03} \xE6\xBC\xA2 " + std::string(field.name);
    } else {
      value = {"", "\x02}", "\xE6\xBC\xA2"};
    }
  });
}

template <class Value>
Bytes wireBytesOf(const Value& value) {
  HudOutputStream stream;
  PayloadWriter write(stream);
  write("", value);
  return stream.toNSData();
}

// A packet's fields by path: the bytes of each on the wire, and where in the payload it ends. Each
// string of a set counts as a field.
class Contents : public UniformFieldVisitor<Contents, FieldVisitor> {
 public:
  using Fields = std::map<std::string, std::string>;

  explicit Contents(const HudPacket& packet) { packet.visitFields(*this); }

  Fields all() const { return before(kUnsent); }

  // The fields that the first bytes of the payload hold.
  Fields before(std::size_t end) const {
    Fields fields;
    for (const Entry& entry : entries_) {
      if (entry.end <= end) fields[entry.path] = entry.bytes;
    }
    return fields;
  }

  void onField(const FieldInfo& field, const auto& value) {
    if constexpr (std::is_same_v<decltype(value), const StringSet&>) {
      beginList(field, value.size());
      for (const std::string& text : value) add(field, "." + text, HudString(text));
    } else {
      add(field, "", value);
    }
  }
  void beginList(const FieldInfo&, const std::size_t& size) override {
    end_ += wireBytesOf(static_cast<std::int32_t>(size)).size();
  }

 private:
  static constexpr std::size_t kUnsent = std::numeric_limits<std::size_t>::max();

  struct Entry {
    std::string path;
    std::string bytes;
    std::size_t end;
  };

  void add(const FieldInfo& field, const std::string& part, const auto& value) {
    const Bytes bytes = wireBytesOf(value);
    if (field.isOnWire) end_ += bytes.size();
    entries_.push_back({field.path() + part, hex(bytes), field.isOnWire ? end_ : kUnsent});
  }

  std::vector<Entry> entries_;
  std::size_t end_ = 0;
};

TEST(PacketPayloads, FieldsOfEveryKind) {
  EveryKindPacket packet;
  EXPECT_EQ(hex(payloadOf(packet)), hex(Bytes(69)));  // absent fields are written as empty ones
  EXPECT_EQ(packet.description(),
            "EveryKindPacket[flag : 0 octet : 0 shorter : 0 integer : 0 longer : 0 count16 : 0 "
            "count32 : 0 count64 : 0 single : 0.000000 real : 0.000000 text : (null) side : 0 "
            "wheel : (null) spare : Tire[number : 0 name : (null)] names : (null) tags : [] sides "
            ": [] bits : [] local : 0]");
  EXPECT_EQ(packet.wheel, nullptr);

  packet.sides = {Side::left, Side::right};
  packet.bits = {true, true, false, false, false, false, false};
  fill(packet);
  EXPECT_EQ(
      hex(payloadOf(packet)),
      "01 7D 00 7D 7F 7D 00 FE 7D 7E 7D 7F 7D 00 FD 7D 7F 7D 00 7D 7E FE 7D 7E 7D 7F 7D 00 7D 7F "
      "7D 00 FE 7D 7E 7D 7F 7D 00 FD 7D 7F 7D 00 7D 7E FE 7D 7E 7D 7F 7D 00 7D 00 7D 7F 7D 7E FE "
      "7D 00 7D 7F 7D 7E FE 7D 7E 7D 00 7D 7F 7E 00 0C 7D 7F 7D 7E 7D 00 20 E6 BC A2 20 74 65 "
      "78 74 7D 00 7D 7F 7D 00 00 0C 7D 7F 7D 7E 7D 00 20 E6 BC A2 20 6E 61 6D 65 7D 7F 7D 00 00 "
      "0C 7D 7F 7D 7E 7D 00 20 E6 BC A2 20 6E 61 6D 65 00 00 00 7D 7E 00 00 00 7D 7F 7D 7F 7D 00 "
      "00 7D 7E E6 BC A2 00 00 00 7D 7E 00 00 00 7D 7F 7D 7F 7D 00 00 7D 7E E6 BC A2 00 00 00 7D "
      "7F 7D 00 7D 00 00 00 00 07 00 00 01 01 01 01 01");
  packet.tags.clear();
  EXPECT_THAT(packet.description(),
              EndsWith("side : 125 wheel : Tire[number : 637 name : \x02\x03} \xE6\xBC\xA2 name] "
                       "spare : Tire[number : 637 name : \x02\x03} \xE6\xBC\xA2 name] names : [, "
                       "\x02}, \xE6\xBC\xA2] tags : [] sides : [125, 125] bits : [0, 0, 1, 1, 1, "
                       "...] local : -33357187]"));
}

TEST(PacketPayloads, ReadBackWhatWasWritten) {
  const LogCapture log;
  const PacketRegistration<EveryKindPacket> everyKind;
  for (const PacketType type : PacketCatalogue::packetTypes()) {
    SCOPED_TRACE(type.name());
    const auto written = type.make();
    if (auto* packet = dynamic_cast<EveryKindPacket*>(written.get())) {
      packet->sides = {Side::left, Side::right};
      packet->bits = {true, false};
    }
    fill(*written);
    const Contents contents(*written);
    const Bytes payload = payloadOf(*written);
    // The version event cannot read what it wrote.
    const bool isVersion = type == PacketType::of<HudVersionEventPacket>();
    // A payload cut at any byte is refused, and the fields before the cut are stored.
    for (std::size_t cut = 0; cut <= payload.size(); ++cut) {
      const auto read = type.make();
      Contents::Fields expected = contents.before(cut);
      expected.merge(Contents(*read).all());
      Bytes received(payload.data(), payload.data() + cut);
      const bool isWhole = cut == payload.size();
      if (isWhole) received.insert(received.end(), {0x7D, 0x00, 0xFF});  // these are ignored
      EXPECT_EQ(parse(*read, received), isWhole && !isVersion);
      EXPECT_EQ(Contents(*read).all(), expected) << "cut at " << cut;

      const auto readAgain = type.make();
      EXPECT_EQ(readByFields(*readAgain, received).empty(), isWhole || isVersion);
      EXPECT_EQ(Contents(*readAgain).all(), expected) << "cut at " << cut;
    }
  }
}

TEST(PacketPayloads, SoundDeviceIsSharedAndMayBeNull) {
  const Bytes payload = bytes("00 01 41 00 01 42 01 07");
  BluetoothConnectionEventPacket packet;
  const auto device = std::make_shared<BluetoothSoundDevice>();
  packet.setSoundDevice(device);
  ASSERT_TRUE(parse(packet, payload));
  EXPECT_EQ(packet.soundDevice(), device);
  std::ostringstream printed;
  printed << *device;
  EXPECT_EQ(printed.str(), "BluetoothSoundDevice[name : A, address : B isConnected:1]");

  HudOutputStream stream;
  device->serialize(stream);
  EXPECT_EQ(hex(stream.toNSData()), "00 01 41 00 01 42 01");
  HudInputStream cut(bytes("00 01 43 00 7D 7F 44"));
  EXPECT_EQ(thrownBy([&] { device->deserialize(cut); }), kOutOfBounds);
  EXPECT_EQ(device->description(), "BluetoothSoundDevice[name : C, address : B isConnected:1]");

  packet.setSoundDevice(nullptr);
  EXPECT_EQ(packet.description(), "BluetoothConnectionEventPacket[soundDevice : (null) event : 7]");
  EXPECT_EQ(hex(payloadOf(packet)), "00 00 00 00 00 07");
  EXPECT_EQ(Contents(packet).all().size(), 4U);
  ASSERT_TRUE(parse(packet, payload));
  EXPECT_EQ(packet.soundDevice()->address(), "B");
}

}  // namespace
}  // namespace varno::test
