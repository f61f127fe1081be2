#include <VarnoNetwork/VarnoNetwork.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <limits>
#include <map>
#include <sstream>

#include "TestSupport.h"

namespace varno::test {
namespace {

using testing::EndsWith;
using testing::StartsWith;

enum class Side : std::uint8_t { left, right };

// Records and packet types of an application's own. The first has a field of every kind.
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
  std::uint16_t count16 = 0;
  std::uint32_t count32 = 0;
  std::uint64_t count64 = 0;
  float single = 0;
  double real = 0;
  HudString text;
  Side side = Side::left;
  std::shared_ptr<Wheel> wheel;
  Wheel spare;
  std::shared_ptr<StringSet> names;
  StringSet tags;
  std::vector<Side> sides;
  std::vector<bool> bits;
  std::int32_t local = 0;

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("flag", self.flag);
    visit("octet", self.octet);
    visit("shorter", self.shorter);
    visit("integer", self.integer);
    visit("longer", self.longer);
    visit("count16", self.count16);
    visit("count32", self.count32);
    visit("count64", self.count64);
    visit("single", self.single);
    visit("real", self.real);
    visit("text", self.text);
    visit("side", self.side);
    visit("wheel", self.wheel);
    visit("spare", self.spare);
    visit("names", self.names);
    visit("tags", self.tags);
    visit("sides", self.sides);
    visit("bits", self.bits);
    visit.unsent("local", self.local);
  }
};

struct Void {
  static constexpr std::string_view kTypeName = "Void";
  template <class Self, class Visit>
  static void fields(Self&, Visit&) {}
};

struct Tree {
  static constexpr std::string_view kTypeName = "Tree";
  std::vector<Tree> children;

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("children", self.children);
  }
};

struct ListsPacket : TypedPacket<ListsPacket, CommandPacket, 0x03, 0x7E> {
  static constexpr std::string_view kTypeName = "ListsPacket";
  static constexpr std::string_view kFieldSeparator = ", ";
  std::vector<Wheel> wheels = std::vector<Wheel>(2);
  std::vector<std::vector<std::int16_t>> rows;
  std::vector<Void> voids;
  Tree tree;

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("wheels", self.wheels);
    visit("rows", self.rows);
    visit("voids", self.voids);
    visit("tree", self.tree);
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

// A packet's fields by their paths, as the bytes that each takes on the wire, and where in the
// payload each ends. A set counts as one field for each of its strings.
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

// Reads the payload by a FieldReader, which has to do the same as parsePayload. The result is where
// it failed, or empty.
std::string readByFields(HudPacket& packet, std::span<const std::uint8_t> payload) {
  HudInputStream stream(payload);
  FieldReader reader(stream);
  try {
    packet.editFields(reader);
    return {};
  } catch (const HudException&) {
    return formatText("%@ at %lu", reader.path(), reader.begin());
  }
}

TEST(PacketPayloads, FieldsOfEveryKind) {
  EveryKindPacket packet;
  EXPECT_EQ(hex(payloadOf(packet)), hex(Bytes(69)));  // what is absent counts as empty
  EXPECT_EQ(packet.description(),
            "EveryKindPacket[flag : 0 octet : 0 shorter : 0 integer : 0 longer : 0 count16 : 0 "
            "count32 : 0 count64 : 0 single : 0.000000 real : 0.000000 text : (null) side : 0 "
            "wheel : (null) spare : Wheel[number : 0 name : (null)] names : (null) tags : [] sides "
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
              EndsWith("side : 125 wheel : Wheel[number : 637 name : \x02\x03} \xE6\xBC\xA2 name] "
                       "spare : Wheel[number : 637 name : \x02\x03} \xE6\xBC\xA2 name] names : [, "
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
    // The version event is the one that cannot read what it wrote.
    const bool isVersion = type == PacketType::of<HudVersionEventPacket>();
    // Cut at every byte it is refused, and the fields before the cut are stored.
    for (std::size_t cut = 0; cut <= payload.size(); ++cut) {
      const auto read = type.make();
      Contents::Fields expected = contents.before(cut);
      expected.merge(Contents(*read).all());
      Bytes received(payload.data(), payload.data() + cut);
      const bool isWhole = cut == payload.size();
      if (isWhole) received.insert(received.end(), {0x7D, 0x00, 0xFF});  // nothing looks at these
      EXPECT_EQ(parse(*read, received), isWhole && !isVersion);
      EXPECT_EQ(Contents(*read).all(), expected) << "cut at " << cut;

      const auto readAgain = type.make();
      EXPECT_EQ(readByFields(*readAgain, received).empty(), isWhole || isVersion);
      EXPECT_EQ(Contents(*readAgain).all(), expected) << "cut at " << cut;
    }
  }
}

// What a FieldReader shows its witness, and the bytes that it lies in.
struct Witness : UniformFieldVisitor<Witness, FieldVisitor> {
  FieldReader* reader = nullptr;
  std::string text;

  void add(const std::string& what) {
    text += formatText("%lu-%lu %@\n", reader->begin(), reader->end(), what);
  }
  void onField(const FieldInfo& field, const auto&) { add(field.path()); }
  void beginRecord(const FieldInfo&, std::string_view typeName) override { text += typeName; }
  void endRecord() override { text += ";"; }
  void beginList(const FieldInfo& field, const std::size_t& size) override {
    add(formatText("%@ of %lu", field.path(), size));
  }
  void endList() override { text += ";"; }
};

TEST(PacketPayloads, FieldReaderTellsWhereItStands) {
  Witness witness;
  const Bytes payload = bytes("00 00 00 01 00 7D 00 00 01 41 00 00 00 01 00 00 00 01 00 7D 7F");
  HudInputStream stream(payload);
  FieldReader reader(stream, &witness);
  witness.reader = &reader;
  ListsPacket packet;
  EXPECT_EQ(thrownBy([&] { packet.editFields(reader); }), kOutOfBounds);
  EXPECT_EQ(witness.text,
            "0-4 wheels of 1\nWheel4-7 wheels[0].number\n7-10 wheels[0].name\n;;"
            "10-14 rows of 1\n14-18 rows[0] of 1\n18-21 rows[0][0]\n;;");
  EXPECT_EQ(reader.path(), "voids");
  EXPECT_EQ(reader.begin(), 21U);
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
  const auto lists = PacketType::of<ListsPacket>();
  const auto listed = [](const char* wheels, const char* rows, const char* voids) {
    return formatText("[wheels : [%@], rows : [%@], voids : [%@], tree : Tree[children : []]]",
                      wheels, rows, voids);
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

      // A count below 0 is none, one that lies takes no memory, elements are stored when whole.
      {lists,
       "00 00 00 01 00 05 00 01 41 00 00 00 7D 7F 00 00 00 00 00 00 00 01 FF FF 00 00 00 00 00 00 "
       "00 00",
       true, listed("Wheel[number : 5, name : A]", "[], [-1]", "")},
      {lists, "FF FF FF FF 80 00 00 00 FF FF FF FF FF FF FF FF", true, listed("", "", "")},
      {lists, "7F FF FF FF 00 05 00 01 41 00 06 00 01", false,
       listed("Wheel[number : 5, name : A]", "", "")},
      {lists, "00 00 00 00 7F FF FF FF 00 00 00 00 00 00 00 01 00 06 00 00 00 01 00", false,
       listed("", "[], [6]", "")},
      {lists, "00 00 00 00 00 00 00 00 7F FF FF FF", false, listed("", "", "Void[]")},

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
    if (row.type == PacketType::of<HudVersionEventPacket>()) continue;
    const auto readAgain = row.type.make();
    EXPECT_EQ(readByFields(*readAgain, bytes(row.payload)).empty(), row.isParsed);
    EXPECT_EQ(readAgain->description(), packet->description());
  }
}

// A frame decides how deep a record goes that holds itself, but not beyond a limit.
TEST(PacketPayloads, NestingEnds) {
  Bytes payload(12);  // three empty lists
  for (int depth = 0; depth < 1'000'000; ++depth) {
    payload.insert(payload.end(), {0, 0, 0, 1});
  }
  ListsPacket packet;
  EXPECT_FALSE(parse(packet, payload));
  EXPECT_THAT(readByFields(packet, payload), StartsWith("tree.children[0].children[0].children"));
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
