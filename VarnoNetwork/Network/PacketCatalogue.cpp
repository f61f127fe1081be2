#include <VarnoNetwork/Network/Command/KeepAliveCommandPacket.h>
#include <VarnoNetwork/Network/Command/SystemTimeCommandPacket.h>
#include <VarnoNetwork/Network/PacketCatalogue.h>

#include <algorithm>
#include <mutex>

namespace varno {
namespace {

// The packet types of the library, by packet id. The family bases are packet types too, but a
// network would leave them out again: they have no identifiers.
std::vector<PacketType> libraryTypes() {
  return {
      PacketType::of<SystemTimeCommandPacket>(),
      PacketType::of<KeepAliveCommandPacket>(),
  };
}

struct Registrations {
  std::mutex mutex;
  std::vector<PacketType> types;  // a type that is registered twice stands here twice
};

// Never destroyed: registrations with static storage may end after every other static object.
Registrations& registrations() {
  static Registrations& registrations = *new Registrations;
  return registrations;
}

}  // namespace

std::vector<PacketType> PacketCatalogue::packetTypes() {
  std::vector<PacketType> types = libraryTypes();
  Registrations& registered = registrations();
  const std::lock_guard lock(registered.mutex);
  for (const PacketType type : registered.types) {
    if (std::find(types.begin(), types.end(), type) == types.end()) types.push_back(type);
  }
  return types;
}

void PacketCatalogue::add(PacketType type) {
  Registrations& registered = registrations();
  const std::lock_guard lock(registered.mutex);
  registered.types.push_back(type);
}

void PacketCatalogue::remove(PacketType type) noexcept {
  Registrations& registered = registrations();
  const std::lock_guard lock(registered.mutex);
  const auto found = std::find(registered.types.begin(), registered.types.end(), type);
  if (found != registered.types.end()) registered.types.erase(found);
}

}  // namespace varno
