#include "Namesake.h"
#include "NetworkFixture.h"

#include <VarnoNetwork/Network/EventPacket.h>
#include <VarnoNetwork/Network/PacketCatalogue.h>

#include <gmock/gmock.h>

namespace varno::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Packet types of the application.
struct OwnEventPacket : TypedPacket<OwnEventPacket, EventPacket, 0x7D, 0x02> {
  static constexpr std::string_view kTypeName = "OwnEventPacket";
};

struct OtherCommandPacket : TypedPacket<OtherCommandPacket, CommandPacket, 15, 0> {
  static constexpr std::string_view kTypeName = "OtherCommandPacket";
};

struct UnmakablePacket : TypedPacket<UnmakablePacket, EventPacket, 0xF0, 0> {
  static constexpr std::string_view kTypeName = "UnmakablePacket";
  UnmakablePacket() { throw std::runtime_error("unmakable"); }
};

struct UnidentifiedPacket : TypedPacket<UnidentifiedPacket, EventPacket, 0xF1, 0> {
  static constexpr std::string_view kTypeName = "UnidentifiedPacket";
  std::uint8_t getParam2() const override { throw 7; }
};

struct PassingEventPacket : TypedPacket<PassingEventPacket, EventPacket, 0xF3, 0> {
  static constexpr std::string_view kTypeName = "PassingEventPacket";
};

// Namesake.cpp has another class of this name.
struct NamesakeEventPacket : TypedPacket<NamesakeEventPacket, EventPacket, 0xF4, 1> {
  static constexpr std::string_view kTypeName = "NamesakeEventPacket";
};

// A base class, so that it is constructed before the network.
struct OwnType {
  const PacketRegistration<OwnEventPacket> registration;
};

class RegistryTest : private OwnType, public NetworkFixture {};

TEST_F(RegistryTest, HoldsTheCatalogueOfItsConstruction) {
  const auto before = network.packetIdToClassMap();
  EXPECT_EQ(before.at(0x037D02).name(), "OwnEventPacket");
  EXPECT_EQ(before.at(0x020F00), kKeepAliveType);
  {
    const PacketRegistration<HudPacket> base;
    const PacketRegistration<CommandPacket> family;
    const PacketRegistration<UnmakablePacket> unmakable;
    const PacketRegistration<UnidentifiedPacket> unidentified;
    const PacketRegistration<OwnEventPacket> again;
    RecordingNetwork lacking;
    EXPECT_EQ(lacking.packetIdToClassMap(), before);
    Lines told;
    lacking.setDropObserver([&](const PacketDrop& drop) { told.push_back(drop.description()); });
    EXPECT_THAT(told, ElementsAre("HudPacket is left out: Not yet implemented",
                                  "CommandPacket is left out: Not yet implemented",
                                  "UnmakablePacket is left out: unmakable",
                                  "UnidentifiedPacket is left out: unknown exception"));
    EXPECT_EQ(lacking.leftOutTypes().size(), told.size());
  }
  {
    const PacketRegistration<OtherCommandPacket> duplicate;
    EXPECT_EQ(thrownBy([] { RecordingNetwork(); }),
              "InternalInconsistencyException: Duplicated command[2] param1[15] param2[0] "
              "KeepAliveCommandPacket and OtherCommandPacket");
    EXPECT_EQ(network.packetIdToClassMap(), before);
  }
  std::unique_ptr<RecordingNetwork> keeping;
  {
    const PacketRegistration<PassingEventPacket> passing;
    keeping = std::make_unique<RecordingNetwork>();
  }
  EXPECT_EQ(RecordingNetwork().packetIdToClassMap(), before);
  EXPECT_EQ(network.packetIdToClassMap(), before);
  const auto listener = std::make_shared<RecordingListener>();
  keeping->registerPacketHandleDelegate(listener);
  keeping->handleRawPacket(bytes("02 7D 7E F3 00 03"));
  network.handleRawPacket(bytes("02 7D 7E F3 00 03"));
  EXPECT_THAT(listener->takeDescriptions(), ElementsAre("PassingEventPacket[]"));
}

// Some compilers treat the two as one type.
TEST_F(RegistryTest, ClassesOfOneNameAreToldApartOrRefused) {
  const auto before = network.packetIdToClassMap().size();
  const PacketRegistration<NamesakeEventPacket> own;
  const PacketRegistration<NamesakeEventPacket> again;
  EXPECT_EQ(RecordingNetwork().packetIdToClassMap().size(), before + 1);
  const std::shared_ptr<void> other = registerNamesake();
  std::size_t held = 0;
  const std::string thrown =
      thrownBy([&] { held = RecordingNetwork().packetIdToClassMap().size(); });
  if (thrown.empty()) {
    EXPECT_EQ(held, before + 2);
  } else {
    EXPECT_EQ(thrown,
              "InternalInconsistencyException: NamesakeEventPacket command[3] param1[244] "
              "param2[1] and NamesakeEventPacket command[3] param1[244] param2[2] are two classes "
              "that cannot be told apart: give each a name of its own");
  }
}

TEST_F(RegistryTest, ClassMapCanBeReplaced) {
  const auto listener = listen();
  network.setPacketIdToClassMap({{0x020203, kKeepAliveType}, {0x010101, kKeepAliveType}});
  EXPECT_EQ(network.packetIdToClassMap().size(), 2U);
  network.handleRawPacket(bytes("02 02 02 03 03"));
  network.handleRawPacket(bytes("02 01 01 01 03"));
  network.handleRawPacket(kTime);
  EXPECT_THAT(listener->takeDescriptions(), ElementsAre(kKeepAliveText, kKeepAliveText));
  network.setPacketIdToClassMap({});
  network.handleRawPacket(kKeepAlive);
  EXPECT_THAT(listener->take(), IsEmpty());
}

}  // namespace
}  // namespace varno::test
