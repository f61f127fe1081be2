#include <VarnoNetwork/VarnoNetwork.h>
#include <gtest/gtest.h>
#include <tests/reference/FieldText.h>

#include <bit>
#include <limits>
#include <map>
#include <sstream>

#include "TestSupport.h"

namespace varno::test {
namespace {

// A record and a packet type of an application's own, with a field of every kind.
struct Wheel {
  static constexpr std::string_view kTypeName = "Wheel";
  std::int16_t number = 0;
  HudString name;

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("number", self.number);
    visit("name", self.name);
  }
};

struct EveryKindPacket : TypedPacket<EveryKindPacket, CommandPacket, 0x03, 0x7D> {
  static constexpr std::string_view kTypeName = "EveryKindPacket";
  bool flag = false;
  std::uint8_t octet = 0;
  std::int16_t shorter = 0;
  std::int32_t integer = 0;
  std::int64_t longer = 0;
  float single = 0;
  double real = 0;
  HudString text;
  std::shared_ptr<Wheel> wheel;
  std::shared_ptr<StringSet> names;
  std::int32_t local = 0;

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("flag", self.flag);
    visit("octet", self.octet);
    visit("shorter", self.shorter);
    visit("integer", self.integer);
    visit("longer", self.longer);
    visit("single", self.single);
    visit("real", self.real);
    visit("text", self.text);
    visit("wheel", self.wheel);
    visit("names", self.names);
    visit.unsent("local", self.local);
  }
};

// Gives every field a value that is not its default and has all bytes that are stuffed.
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

// A field of a packet, as the bytes that it takes on the wire, and where in the payload it ends. A
// set counts as one field for each of its strings.
struct Entry {
  std::string name;
  std::string bytes;
  std::size_t end;
};

std::vector<Entry> entriesOf(const HudPacket& packet) {
  std::vector<Entry> entries;
  std::size_t end = 0;
  forEachField(packet, [&](const FieldInfo& field, const auto& value) {
    const auto add = [&](const std::string& name, const auto& part) {
      const Bytes bytes = wireBytesOf(part);
      if (field.isOnWire) end += bytes.size();
      entries.push_back(
          {name, hex(bytes), field.isOnWire ? end : std::numeric_limits<std::size_t>::max()});
    };
    if constexpr (std::is_same_v<decltype(value), const StringSet&>) {
      end += wireBytesOf(static_cast<std::int32_t>(value.size())).size();
      for (const std::string& text : value) add(field.path() + "." + text, HudString(text));
    } else {
      add(field.path(), value);
    }
  });
  return entries;
}

// The fields that the first bytes of the payload hold; with no limit also those it does not carry.
using Fields = std::map<std::string, std::string>;
Fields fieldsOf(const std::vector<Entry>& entries,
                std::size_t before = std::numeric_limits<std::size_t>::max()) {
  Fields fields;
  for (const Entry& entry : entries) {
    if (entry.end <= before) fields[entry.name] = entry.bytes;
  }
  return fields;
}

TEST(PacketPayloads, FieldsOfEveryKind) {
  EveryKindPacket packet;
  EXPECT_EQ(
      hex(frameOf(packet)),  // what is absent counts as empty
      "02 7D 7F 7D 7E 7D 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
      "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 03");
  EXPECT_EQ(fuzz::fieldText(packet, "absent"),
            "flag 1:0\noctet 1:0\nshorter 1:0\ninteger 1:0\nlonger 1:0\nsingle 1:0\nreal 1:0\n"
            "text 6:absent\nwheel.number 1:0\nwheel.name 6:absent\nnames 1:0\n"
            "local unsent 1:0\n");
  EXPECT_EQ(packet.wheel, nullptr);

  fill(packet);
  EXPECT_EQ(
      hex(payloadOf(packet)),
      "01 7D 00 7D 7F 7D 00 FE 7D 7E 7D 7F 7D 00 FD 7D 7F 7D 00 7D 7E FE 7D 7E 7D 7F 7D 00 7D 00 "
      "7D 7F 7D 7E FE "
      "7D 00 7D 7F 7D 7E FE 7D 7E 7D 00 7D 7F 7E 00 0C 7D 7F 7D 7E 7D 00 20 E6 BC A2 20 74 65 "
      "78 74 7D 7F 7D 00 00 0C 7D 7F 7D 7E 7D 00 20 E6 BC A2 20 6E 61 6D 65 00 00 00 7D 7E 00 "
      "00 00 7D 7F 7D 7F 7D 00 00 7D 7E E6 BC A2");
}

TEST(PacketPayloads, ReadBackWhatWasWritten) {
  const LogCapture log;
  const PacketRegistration<EveryKindPacket> everyKind;
  for (const PacketType type : PacketCatalogue::packetTypes()) {
    SCOPED_TRACE(type.name());
    const auto written = type.make();
    fill(*written);
    const auto entries = entriesOf(*written);
    const Bytes payload = payloadOf(*written);
    // Cut at every byte it is refused, and the fields before the cut are stored.
    for (std::size_t cut = 0; cut <= payload.size(); ++cut) {
      const auto read = type.make();
      Fields expected = fieldsOf(entries, cut);
      expected.merge(fieldsOf(entriesOf(*read)));
      Bytes received(payload.data(), payload.data() + cut);
      const bool isWhole = cut == payload.size();
      if (isWhole) received.insert(received.end(), {0x7D, 0x00, 0xFF});  // nothing looks at these
      // The version event is the one that cannot read what it wrote.
      const bool isReadable = isWhole && type != PacketType::of<HudVersionEventPacket>();
      EXPECT_EQ(parse(*read, received), isReadable);
      EXPECT_EQ(fieldsOf(entriesOf(*read)), expected) << "cut at " << cut;
    }
  }
}

struct ParseRow {
  PacketType type;
  const char* payload;
  bool isParsed;
  std::string description;  // afterwards, without the type's name
  std::vector<std::string> log = {};
};

std::vector<ParseRow> irregularPayloads() {
  const auto setting = PacketType::of<DisplayNotificationSettingCommandPacket>();
  const auto version = PacketType::of<HudVersionEventPacket>();
  const auto versions = [](const char* model, const char* system, const char* ble) {
    return formatText("[modelName : %@ systemVersion : %@ bleVersion : %@]", model, system, ble);
  };
  const auto names = [](std::size_t count, const char* list) {
    return formatText(
        "[enable : 1, textColor : 0xFFFFFFFF, icon : 0x0, package name count : %lu package name "
        "list[%@]]",
        count, list);
  };
  return {
      {PacketType::of<VarnoModeCommandPacket>(), "00 00 00 00", true, "[mode : android]"},
      {PacketType::of<DisplaySpeedUnitsCommandPacket>(), "00 00 00 00", true,
       "[speedUnitType : km/h]"},
      {PacketType::of<FullScreenCommandPacket>(), "7D 7F", true, "[isFullScreen : 1]"},
      {PacketType::of<KeyStoneCommandPacket>(), "80 00 00 00", true, "[keyStone : -0.000000]"},
      {PacketType::of<SoftwareUpdateEventPacket>(), "00 01 31", true, "[serverIp : 192.168.43.1]"},
      {PacketType::of<UartConnectionEventPacket>(), "00 01 31", true, "[]"},
      {PacketType::of<WifiStationStatusEventPacket>(), "00 00 00 05 00 01 FF 00 00", true,
       "[errorCode : 5 errorMessage : (null) ipAddress : ]"},
      {PacketType::of<BluetoothDeviceFoundEventPacket>(), "00 01 C3 00 01 42 01", true,
       "[soundDevice : BluetoothSoundDevice[name : (null), address : B isConnected:1]]"},

      // A count below 0 is none, a repeated name counts once, one that is no UTF-8 ends it all.
      {setting, "01 FF FF FF FF 00 00 00 00 FF FF FF FF 00 01 61", true, names(0, "")},
      {setting, "01 FF FF FF FF 00 00 00 00 00 00 00 7D 7F 00 01 61 00 01 61", true, names(1, "a")},
      {setting, "01 FF FF FF FF 00 00 00 00 00 00 00 7D 7F 00 01 61 00 01 FF", false,
       names(1, "a")},
      {setting, "01 FF FF FF FF 00 00 00 00 00 00 00 04 00 01 61 00 01 62 00 01 63 00 01 64", true,
       names(4, "a, b, c, d")},
      {setting,
       "01 FF FF FF FF 00 00 00 00 00 00 00 05 00 01 61 00 01 62 00 01 63 00 01 64 00 01 65", true,
       names(5, "a, b, c, d, e...")},
      {setting,
       "01 FF FF FF FF 00 00 00 00 00 00 00 06 00 01 61 00 01 62 00 01 63 00 01 64 00 01 65 00 01 "
       "66",
       true, names(6, "a, b, c, d, e...")},

      {version, "00 05 41 26 42 26 43", true, versions("A", "B", "C")},
      {version, "00 04 41 26 26 43 26", true, versions("A", "", "C")},
      {version, "00 7D 7F 26 26", true, versions("", "", "")},
      {version, "00 7D 7E 41 26 42", false, versions("", "", ""), {"Invalid version string(A&B)"}},
      {version,
       "00 07 41 26 42 26 43 26 44",
       false,
       versions("", "", ""),
       {"Invalid version string(A&B&C&D)"}},
      {version, "00 04 41 26 42 43", false, versions("", "", ""), {"Invalid version string(A&BC)"}},
      {version, "00 00", false, versions("", "", ""), {"Invalid version string()"}},
      {version, "00 01 FF", false, versions("", "", ""), {"Invalid version string((null))"}},
      {version, "00 05 41 26", false, versions("", "", "")},
  };
}

TEST(PacketPayloads, IrregularOnes) {
  LogCapture log;
  for (const ParseRow& row : irregularPayloads()) {
    const auto packet = row.type.make();
    SCOPED_TRACE(std::string(row.type.name()) + " from " + row.payload);
    EXPECT_EQ(parse(*packet, bytes(row.payload)), row.isParsed);
    EXPECT_EQ(packet->description(), std::string(row.type.name()) + row.description);
    EXPECT_EQ(log.take(), row.log);
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
  EXPECT_EQ(entriesOf(packet).size(), 4U);
  ASSERT_TRUE(parse(packet, payload));
  EXPECT_EQ(packet.soundDevice()->address(), "B");
}

}  // namespace
}  // namespace varno::test
