#pragma once

#include <VarnoNetwork/Network/PacketType.h>

#include <vector>

namespace varno {

// Every packet type of the program: the library's own, which PacketCatalogue.cpp lists by name so
// that no linker can drop one, and those that the application registers with PacketRegistration.
// A network takes them over when it is constructed. On any thread.
class VARNO_EXPORT PacketCatalogue {
 public:
  // The library's types, then the application's in the order of their registration; each class
  // once. Throws std::bad_alloc.
  static std::vector<PacketType> packetTypes();

 private:
  template <PacketClass Packet>
  friend class PacketRegistration;

  static void add(PacketType type);
  static void remove(PacketType type) noexcept;
};

// Keeps a packet type of the application in the catalogue while it lives. An object with static
// storage beside the packet type registers it before main begins:
//
//   const varno::PacketRegistration<TirePressureEventPacket> kTirePressure;
//
// A network that was constructed meanwhile keeps the type for its own lifetime, so a plug-in must
// stay loaded as long as a network knows one of its packet types.
template <PacketClass Packet>
class PacketRegistration {
 public:
  PacketRegistration() { PacketCatalogue::add(PacketType::of<Packet>()); }
  ~PacketRegistration() { PacketCatalogue::remove(PacketType::of<Packet>()); }
  PacketRegistration(const PacketRegistration&) = delete;
  PacketRegistration& operator=(const PacketRegistration&) = delete;
};

}  // namespace varno
