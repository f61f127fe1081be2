#pragma once

#include <VarnoNetwork/Network/HudPacket.h>

#include <concepts>
#include <cstdint>
#include <memory>
#include <string_view>
#include <typeinfo>

namespace varno {

// The three bytes that tell packet types apart.
struct PacketIdentifiers {
  std::uint8_t command = 0;
  std::uint8_t param1 = 0;
  std::uint8_t param2 = 0;

  friend bool operator==(const PacketIdentifiers&, const PacketIdentifiers&) = default;
};

// A class that can stand as a packet type: derived from HudPacket, made without arguments.
template <class Type>
concept PacketClass = std::derived_from<Type, HudPacket> && std::default_initializable<Type>;

// A packet type as a value: compared by the type itself, also across shared libraries, and cheap to
// copy. Made by PacketType::of<KeepAliveCommandPacket>().
class PacketType {
 public:
  template <PacketClass Packet>
  static PacketType of() noexcept {
    return PacketType(&kTraits<Packet>);
  }

  // The type's identifier, for example "KeepAliveCommandPacket".
  std::string_view name() const noexcept { return traits_->name; }

  // What is irregular in the type's payload, in one sentence; empty where nothing is.
  std::string_view payloadNote() const noexcept { return traits_->payloadNote; }

  // Makes a packet with the type's defaults. Throws what its constructor throws.
  std::shared_ptr<HudPacket> make() const { return traits_->make(); }

  // Makes a packet from the payload that the stream stands at; null where the payload is not
  // usable. Throws what the type's constructor and parser throw.
  std::shared_ptr<HudPacket> parse(HudInputStream& stream) const { return traits_->parse(stream); }

  // Asks a fresh packet for its identifiers. Throws what its constructor and its operations throw:
  // those of the family bases fail.
  PacketIdentifiers identifiers() const { return traits_->identifiers(); }

  // Whether both were made by the same `of`. Equal types need not be identical: each shared library
  // may have an `of` of its own, and some compilers treat classes of one name in the anonymous
  // namespaces of two files as one type.
  bool isIdenticalTo(PacketType other) const noexcept { return traits_ == other.traits_; }

  friend bool operator==(PacketType left, PacketType right) noexcept {
    // Addresses first: comparing type_info may mean comparing texts.
    return left.traits_->type == right.traits_->type || *left.traits_->type == *right.traits_->type;
  }
  // An order for maps and sets, the same for one run of the program.
  friend bool operator<(PacketType left, PacketType right) noexcept {
    // By name first: libstdc++'s before() alone is no order on 32-bit Arm, where it lets the
    // address decide among types of anonymous namespaces and the name between such a type and
    // another.
    const std::string_view leftName = left.traits_->type->name();
    const std::string_view rightName = right.traits_->type->name();
    if (leftName != rightName) return leftName < rightName;
    return left.traits_->type->before(*right.traits_->type);
  }

 private:
  struct Traits {
    const std::type_info* type;
    std::string_view name;
    std::string_view payloadNote;
    std::shared_ptr<HudPacket> (*make)();
    std::shared_ptr<HudPacket> (*parse)(HudInputStream& stream);
    PacketIdentifiers (*identifiers)();
  };

  template <class Packet>
  static constexpr std::string_view payloadNoteOf() {
    if constexpr (requires { Packet::kPayloadNote; }) return Packet::kPayloadNote;
    return {};
  }

  template <class Packet>
  static std::shared_ptr<HudPacket> makePacket() {
    return std::make_shared<Packet>();
  }

  template <class Packet>
  static std::shared_ptr<HudPacket> parsePacket(HudInputStream& stream) {
    auto packet = std::make_shared<Packet>();
    // The qualified name spares the virtual call: the packet's type is known here.
    if (!packet->Packet::parsePayload(stream)) return nullptr;
    return packet;
  }

  template <class Packet>
  static PacketIdentifiers identifiersOf() {
    const Packet packet;
    return {packet.getCommand(), packet.getParam1(), packet.getParam2()};
  }

  template <class Packet>
  static constexpr Traits kTraits{&typeid(Packet),    Packet::kTypeName,   payloadNoteOf<Packet>(),
                                  makePacket<Packet>, parsePacket<Packet>, identifiersOf<Packet>};

  explicit PacketType(const Traits* traits) noexcept : traits_(traits) {}

  const Traits* traits_;
};

}  // namespace varno
