#include "FieldSupport.h"

#include <gmock/gmock.h>

namespace varno::test {
namespace {

using testing::StartsWith;

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
  std::vector<Tire> wheels = std::vector<Tire>(2);
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

      // A negative count means none, a repeated name counts once, one that is not UTF-8 makes the
      // packet unusable.
      {setting, "01 FF FF FF FF 00 00 00 00 FF FF FF FF 00 01 61", true, names(0, "")},
      {setting, "01 FF FF FF FF 00 00 00 00 00 00 00 7D 7F 00 01 61 00 01 61", true, names(1, "a")},
      {setting, "01 FF FF FF FF 00 00 00 00 00 00 00 7D 7F 00 01 61 00 01 FF", false,
       names(1, "a")},
      {setting,
       "01 FF FF FF FF 00 00 00 00 00 00 00 05 00 01 61 00 01 62 00 01 63 00 01 64 00 01 65", true,
       names(5, "a, b, c, d, e...")},
      {setting,
       "01 FF FF FF FF 00 00 00 00 00 00 00 06 00 01 61 00 01 62 00 01 63 00 01 64 00 01 65 00 01 "
       "66",
       true, names(6, "a, b, c, d, e...")},

      // A negative count means none, a false one takes no memory, elements are stored once
      // complete.
      {lists,
       "00 00 00 01 00 05 00 01 41 00 00 00 7D 7F 00 00 00 00 00 00 00 01 FF FF 00 00 00 00 00 00 "
       "00 00",
       true, listed("Tire[number : 5, name : A]", "[], [-1]", "")},
      {lists, "FF FF FF FF 80 00 00 00 FF FF FF FF FF FF FF FF", true, listed("", "", "")},
      {lists, "7F FF FF FF 00 05 00 01 41 00 06 00 01", false,
       listed("Tire[number : 5, name : A]", "", "")},
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

TEST(IrregularPayloads, AreReadAsFarAsTheyGo) {
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

// A record that can hold itself nests as deep as the frame says, up to a limit.
TEST(IrregularPayloads, NestingEnds) {
  Bytes payload(12);  // three empty lists
  for (int depth = 0; depth < 1'000'000; ++depth) {
    payload.insert(payload.end(), {0, 0, 0, 1});
  }
  ListsPacket packet;
  EXPECT_FALSE(parse(packet, payload));
  EXPECT_THAT(readByFields(packet, payload), StartsWith("tree.children[0].children[0].children"));
}

// Notes what a FieldReader shows its witness, and from which bytes it was read.
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

TEST(IrregularPayloads, FieldReaderTellsWhereItStands) {
  Witness witness;
  const Bytes payload = bytes("00 00 00 01 00 7D 00 00 01 41 00 00 00 01 00 00 00 01 00 7D 7F");
  HudInputStream stream(payload);
  FieldReader reader(stream, &witness);
  witness.reader = &reader;
  ListsPacket packet;
  EXPECT_EQ(thrownBy([&] { packet.editFields(reader); }), kOutOfBounds);
  EXPECT_EQ(witness.text,
            "0-4 wheels of 1\nTire4-7 wheels[0].number\n7-10 wheels[0].name\n;;"
            "10-14 rows of 1\n14-18 rows[0] of 1\n18-21 rows[0][0]\n;;");
  EXPECT_EQ(reader.path(), "voids");
  EXPECT_EQ(reader.begin(), 21U);
}

}  // namespace
}  // namespace varno::test
