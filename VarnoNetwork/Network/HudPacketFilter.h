#pragma once

#include <VarnoNetwork/Network/PacketType.h>

#include <optional>
#include <set>
#include <utility>

namespace varno {

// The packet types that a listener wants, asked once when it is registered. An ordinary value that
// the application owns; it takes no lock.
class HudPacketFilter {
 public:
  using PacketTypeSet = std::set<PacketType>;

  const PacketTypeSet& acceptablePacketSet() const { return acceptablePacketSet_; }
  void setAcceptablePacketSet(PacketTypeSet types) { acceptablePacketSet_ = std::move(types); }

  // Adds the type, if it is one. A family base can be added but matches nothing: it does not stand
  // for its subtypes. Always returns false, on purpose: the result says nothing about success.
  bool addFilter(std::optional<PacketType> type) {
    if (type) acceptablePacketSet_.insert(*type);
    return false;
  }

  // The same for a class. One that is no packet type changes nothing.
  template <class Type>
  bool addFilter() {
    if constexpr (PacketClass<Type>) return addFilter(PacketType::of<Type>());
    return false;
  }

  // Whether the type itself is in the set; false for an absent one.
  bool accept(std::optional<PacketType> type) const {
    return type && acceptablePacketSet_.contains(*type);
  }

 private:
  PacketTypeSet acceptablePacketSet_;
};

}  // namespace varno
