#include "Namesake.h"

#include <VarnoNetwork/Network/EventPacket.h>
#include <VarnoNetwork/Network/PacketCatalogue.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno::test {
namespace {

struct NamesakeEventPacket : TypedPacket<NamesakeEventPacket, EventPacket, 0xF4, 2> {
  static constexpr std::string_view kTypeName = "NamesakeEventPacket";
};

}  // namespace

std::shared_ptr<void> registerNamesake() {
  return std::make_shared<PacketRegistration<NamesakeEventPacket>>();
}

}  // namespace varno::test
